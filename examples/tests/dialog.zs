exec true
start zenity --forms --title=Who --text=Who --add-entry=Name --add-entry=Town
focus Who
fill 'field #1' Ada
fill 'field #2' London
expect 'field #2' --text London
click 'button "OK"'
wait-window Who --gone
