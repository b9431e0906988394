start xterm -T One -e sleep 1000
focus One
move-window One 10 20
resize-window One 400 300
maximize One
restore One
minimize One
restore One
close-window One
wait-window One --gone
