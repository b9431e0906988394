start xterm -T Terminal -e sh -c 'read line; echo "$line" >"$HOME/line"; exec sleep 1000'
focus Terminal
type 'from the keyboard'
keys '<Enter>'
expect-file "$HOME/line" --contains 'from the keyboard'
