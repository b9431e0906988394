step 'Write a note'
start mousepad
focus '*Mousepad*'
type 'Hello'
keys '<Ctrl+s>'
step 'Save it'
fill 'dialog > field' "$HOME/note.txt"
click 'button "Save"'
expect-file "$HOME/note.txt" --contains Hello
on-failure tree --depth 4
