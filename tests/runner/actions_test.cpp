// The commands on a real server: what another client receives, and what they print.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "eventwindow.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Keys, TextAndCombinationsArriveInOrder)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server, {"keys", "a<Ctrl+Del>", "B"}));
    EXPECT_THAT(window.take(),
        ElementsAre(StartsWith("KeyPress a("), StartsWith("KeyRelease a("), StartsWith("KeyPress Control_L("),
            StartsWith("KeyPress Delete("), StartsWith("KeyRelease Delete("),
            StartsWith("KeyRelease Control_L("), StartsWith("KeyPress Shift_L("), StartsWith("KeyPress B("),
            StartsWith("KeyRelease B("), StartsWith("KeyRelease Shift_L(")));
}

TEST(Keys, NothingIsTypedWhenTheEndIsWrong)
{
    const XServer server;
    EventWindow window(server);
    expectFailure(zendra(server, {"keys", "abc", "<Crtl+a>"}), 2, "did you mean 'Ctrl'?");
    EXPECT_THAT(window.take(), ElementsAre());
}

TEST(Keys, APressedKeyStaysDown)
{
    const XServer server;
    EventWindow window(server);
    // "Esc" begins like the character E, which a special-key lookup by X names alone would take it for.
    expectDone(zendra(server, {"press", "Shift"}));
    expectDone(zendra(server, {"press", "<Esc>"}));
    expectDone(zendra(server, {"release", "esc"}));
    expectDone(zendra(server, {"release", "<Shift>"}));
    EXPECT_THAT(window.take(),
        ElementsAre(StartsWith("KeyPress Shift_L("), StartsWith("KeyPress Escape("),
            StartsWith("KeyRelease Escape("), StartsWith("KeyRelease Shift_L(")));
    expectFailure(zendra(server, {"press", "ж"}), 1, "Cannot press 'ж': Could not translate");
}

TEST(Pointer, WherePrintsWhereItWasMoved)
{
    const XServer server;
    expectDone(zendra(server, {"move", "120", "34"}));
    expectDone(zendra(server, {"where"}), "120 34\n");
    expectDone(zendra(server, {"warp", "7", "8"}));
    expectDone(zendra(server, {"--json", "where"}), "{\"x\":7,\"y\":8}\n");
    const std::vector<std::vector<std::string>> outside {{"move", "-50", "99"}, {"warp", "800", "0"},
        {"click", "5000", "5000"}, {"drag", "10", "10", "0", "600"}, {"drop", "10", "10", "10", "-1"}};
    for (const std::vector<std::string>& words : outside)
        expectFailure(zendra(server, words), 1, "is not on the screen, which has 800x600 pixels");
    expectDone(zendra(server, {"where"}), "7 8\n");
}

TEST(Pointer, SecondScreen)
{
    XServer::Options options;
    options.screens = {"800x600x24", "640x480x16"};
    const XServer server(options);
    EventWindow window(server, 1);
    expectDone(zendra(server, {"move", "--screen", "1", "60", "70"}));
    expectDone(zendra(server, {"click"}));
    EXPECT_THAT(window.take(),
        ElementsAre(StartsWith("Motion @60,70"), StartsWith("Motion @60,70"),
            StartsWith("ButtonPress 1 @60,70"), StartsWith("ButtonRelease 1 @60,70")));
    expectFailure(zendra(server, {"where"}), 1, "The pointer is on another screen of the display");
    expectDone(zendra(server, {"click", "10", "20"})); // acts on the display's own screen
    expectDone(zendra(server, {"where"}), "10 20\n");
    expectFailure(zendra(server, {"move", "--screen", "1", "700", "1"}), 1, "which has 640x480 pixels");
    for (const char* command : {"move", "warp"})
        expectFailure(
            zendra(server, {command, "1", "1", "--screen", "2"}), 1, "has no screen 2; its last one is 1");
    expectFailure(zendra(server, {"highlight", "1,1,9,9", "--screen", "2"}), 1, "has no screen 2");
}

TEST(Pointer, ButtonsAndWheel)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server, {"click", "--button", "right", "--count", "2", "--ctrl", "40", "50"}));
    EXPECT_THAT(window.take(),
        ElementsAre("Motion @40,50 state=0", StartsWith("KeyPress Control_L("),
            "ButtonPress 3 @40,50 state=4", StartsWith("ButtonRelease 3 @40,50"),
            "ButtonPress 3 @40,50 state=4", StartsWith("ButtonRelease 3 @40,50"),
            StartsWith("KeyRelease Control_L(")));
    expectDone(zendra(server, {"mouse", "down", "--button", "middle"}));
    expectDone(zendra(server, {"mouse", "up", "--button", "middle"}));
    expectDone(zendra(server, {"wheel", "-1"}));
    EXPECT_THAT(window.take(),
        ElementsAre(StartsWith("ButtonPress 2 "), StartsWith("ButtonRelease 2 "),
            StartsWith("ButtonPress 5 "), StartsWith("ButtonRelease 5 ")));
}

TEST(Pointer, ADragIsOverWhenTheCommandEnds)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server, {"drag", "40", "50", "-30", "-20", "--shift"}));
    EXPECT_THAT(window.take(),
        ElementsAre("Motion @40,50 state=0", StartsWith("KeyPress Shift_L("), "ButtonPress 1 @40,50 state=1",
            "Motion @10,30 state=257", "ButtonRelease 1 @10,30 state=257",
            StartsWith("KeyRelease Shift_L(")));
    expectDone(zendra(server, {"where"}), "10 30\n");
}

TEST(Pointer, ReportsThatXTestIsMissing)
{
    XServer::Options options;
    options.arguments = {"-extension", "XTEST"};
    const XServer server(options);
    expectFailure(zendra(server, {"move", "1", "1"}), 1, "XTest extension is missing on the display");
    expectFailure(
        zendra(server, {"drag", "1", "1", "5", "5"}), 1, "XTest extension is missing on the display");
    const Outcome info = zendra(server, {"info"});
    EXPECT_THAT(info.output, HasSubstr("XTEST       missing: the pointer cannot be moved"));
}

TEST(Info, DescribesTheServer)
{
    XServer::Options options;
    options.screens = {"800x600x24", "640x480x16"};
    options.layout = "de";
    const XServer server(options);
    const Outcome text = zendra(server, {"info"});
    EXPECT_THAT(text.output, HasSubstr("Screen 1    640x480 pixels, depth 16"));
    EXPECT_THAT(text.output, HasSubstr("Keyboard    de"));

    const Outcome json = zendra(server, {"--json", "info"});
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(json.output)).object();
    EXPECT_EQ(object.value(QLatin1String("display")).toString().toStdString(), server.displayName());
    EXPECT_EQ(object.value(QLatin1String("scale")).toDouble(), 1.0);
    EXPECT_TRUE(object.value(QLatin1String("extensions")).toObject().value(QLatin1String("XTEST")).toBool());
}

} // namespace

} // namespace Zendra::Tests
