# From inside the program.
start --hook "$FORM"
focus Postcard
click 'field "Whom*"'
type 'naïve 漢字'
keys '<Ctrl+a><Ctrl+c>'
expect-clipboard 'naïve 漢字'
