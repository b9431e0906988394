include open.inc
step 'Fill in the fields'
fill 'field "Whom*"' 'Ada Łovelace'
fill 'field #2' "Greetings from the sea.
It rains."
expect 'field "Whom*"' --text 'Ada *'
step 'Start again'
menu 'Card > New'
expect 'field "Whom*"' --text ''
