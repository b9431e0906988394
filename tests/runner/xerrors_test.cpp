// What the X server refuses becomes a sentence.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "x11/errors.h"
#include "xserver.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace Zendra::Runner
{

namespace
{

TEST(XErrors, NameTheRequestAndWhatWasWrong)
{
    const Tests::XServer server;
    XErrors errors([] {});
    const Tests::Connection connection(server);
    EXPECT_EQ(errors.take(), QString());

    XMapWindow(connection, 4711);
    XMapWindow(connection, 4712);
    connection.sync();
    EXPECT_EQ(errors.take().toStdString(),
        "The X server answered BadWindow (invalid Window parameter) to X_MapWindow (value 4711), and 1 more");
    EXPECT_EQ(errors.take(), QString());

    XTestFakeKeyEvent(connection, 3, True, CurrentTime);
    connection.sync();
    const std::string text = errors.take().toStdString();
    EXPECT_THAT(text, testing::HasSubstr("BadValue"));
    EXPECT_THAT(text, testing::HasSubstr("XTest"));
}

} // namespace

} // namespace Zendra::Runner
