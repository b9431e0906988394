"""What is typed: texts by name, each hard in its own way."""

import random


def letters(*ranges):
    """The characters of the ranges given, first and last, eight to a word."""
    characters = [chr(code) for first, last in ranges for code in range(first, last + 1)]
    return " ".join("".join(characters[i:i + 8]) for i in range(0, len(characters), 8))


TEXTS = {
    "ASCII": letters((0x20, 0x7E)) + " The Quick Brown Fox (aged 13) jumps over 2 lazy dogs; \"why?\", aSkS NoBoDy.",
    "white space": "a\tb\t\tC\n\n\td  e \n one\n\n\n",
    "Latin-1": letters((0xA0, 0xFF)),
    "Latin Extended-A": letters((0x100, 0x17F)),
    "Greek": letters((0x384, 0x38A), (0x38E, 0x3A1), (0x3A3, 0x3CE), (0x1F00, 0x1F15), (0x1FC2, 0x1FC4)),
    "Cyrillic": letters((0x400, 0x45F), (0x490, 0x493)) + " Съешь ещё этих мягких французских булок, да выпей чаю",
    "Hebrew": letters((0x5D0, 0x5EA)) + " שָׁלוֹם עוֹלָם 12",
    "Thai": letters((0xE01, 0xE3A), (0xE3F, 0xE5B)) + " เป็นมนุษย์สุดประเสริฐเลิศคุณค่า",
    "Devanagari": letters((0x901, 0x939), (0x93C, 0x94D), (0x958, 0x970)) + " नमस्ते दुनिया क्षत्रिय",
    "Hangul": letters((0x3131, 0x3163)) + "".join(chr(0xAC00 + 37 * i) for i in range(300)) + " 다람쥐 헌 쳇바퀴에 타고파",
    "combining marks": "e\u0301 a\u0308\u0323 \u01B0\u031B o\u0302\u0301 Z\u0351\u036B\u0343 \u1112\u1161\u11AB \u30AB\u3099 q\u0307\u0323",
    "beyond the BMP": "😀 😁x😂🚀 𝒜𝓑 𐍈𐌰 𠀀𠜎 🄰 𝄞 😀😀 naïve 🦊!",
    "joined emoji": "👨‍👩‍👧‍👦 👍🏽 🏳️‍🌈 🇩🇪🇯🇵 1️⃣ 🧑🏿‍🚀 ❤️‍🔥 \u200dx\u200cy",
    "CJK": "\n".join("".join(chr(0x4E00 + 10 * (line + i)) for i in range(40)) for line in range(0, 2000, 40)),
    "mixed": "",
}
_random = random.Random(1)
_mixed = _random.choices("".join(TEXTS.values()), k=200) + _random.choices("abcD1 é\n", k=200)
_random.shuffle(_mixed)
TEXTS["mixed"] = "".join(_mixed)
# Long lines would measure how fast a program lays them out.
TEXTS = {name: text + "\n" for name, text in TEXTS.items()}
