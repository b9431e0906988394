// Key names as scripts spell them, and the keysym names that they become.

#include <gtest/gtest.h>

#include <zendra/keynames.h>

#include "wait.h"

#include <X11/Xlib.h>

using namespace Zendra;
using Zendra::Tests::text;

TEST(KeyNames, SurrogatesAreUnchanged)
{
    for (const ushort unit : {0xD83D, 0xDE00, 0xDBFF, 0xDFFF}) {
        const QString half(1, QChar(unit));
        EXPECT_TRUE(ourKeyToXKBString(half) == half) << std::hex << unit;
    }
    const QString smile = QString::fromUtf8("\U0001F600");
    EXPECT_EQ(XStringToKeysym(ourKeyToXKBString(smile).toLatin1().constData()), 0x0101F600U);
}

TEST(KeyNames, TheListNamesEveryKeyOnce)
{
    const QStringList names = keyNames();
    QStringList keysyms;
    for (const QString& name : names) {
        EXPECT_TRUE(isKeyName(name)) << text(name);
        keysyms.append(ourKeyToXKBString(name));
    }
    EXPECT_EQ(keysyms.removeDuplicates(), 0);
    EXPECT_TRUE(names.contains(QStringLiteral("Ctrl")));
}
