include open.inc
menu 'Card > Quit'
wait-window Postcard --gone
