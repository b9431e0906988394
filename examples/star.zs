# Draws a star on the postcard's canvas, underlined in two more colours.
#
#   zendra-example-form --place 420,60,560,400 &
#   zendra script star.zs

# No line starts where the previous one ended: that would be a double click.
drag 808 216   49  152
drag 728 274  160    0
drag 759 368   49 -152
drag 857 368 -129  -94
drag 888 274 -129   94

# Control and Shift select another colour.
drag 728 394 160 0 --ctrl
drag 728 410 160 0 --shift
