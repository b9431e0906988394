include open.inc
choose list Oak
expect 'row "Oak"' --selected
scroll-to 'row "Anemone"'
click 'row "Beech"'
expect 'row "Beech" [selected]' --count 1
