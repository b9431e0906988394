// Windows by name: which one is found in a tree of windows, and where the text for it arrives.

#include <gtest/gtest.h>

#include "puresession.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

class NamedWindows : public ::testing::Test
{
protected:
    Window root() const { return DefaultRootWindow(m_client.get()); }

    /// A window with a name in Latin-1, or with none.
    Window create(Window parent, const char* name = nullptr) const
    {
        const Window window = XCreateSimpleWindow(m_client, parent, 0, 0, 10, 10, 0, 0, 0);
        if (name != nullptr)
            XStoreName(m_client, window, name);
        m_client.sync();
        return window;
    }

    Window find(const char* name, int depth = 3, bool exact = true) const
    {
        return m_session->findChildWindowByName(root(), name, depth, exact);
    }

    std::string send(const char* name, const char* characters) const
    {
        return text(m_session->sendTextToWindow(QString::fromUtf8(name), QString::fromUtf8(characters)));
    }

    XServer server;

private:
    Connection m_client {server};
    PureSession m_session {server};
};

std::string notFound(const std::string& name)
{
    return "Could not find a window with the name '" + name + '\'';
}

} // namespace

TEST_F(NamedWindows, AreFoundByTheirExactNameOrByAPartOfIt)
{
    EXPECT_EQ(find("Editor"), None);
    create(root());
    const Window empty = create(root(), "");
    const Window longer = create(root(), "Editor - notes.txt");
    EXPECT_EQ(find("Editor"), None);
    EXPECT_EQ(find("editor", 3, false), None);
    EXPECT_EQ(find("notes", 3, false), longer);
    EXPECT_EQ(find("", 3, false), empty); // an empty name is a name
    const Window editor = create(root(), "Editor");
    EXPECT_EQ(find("Editor"), editor);
    EXPECT_EQ(find("Editor", 3, false), longer);
    create(root(), "Editor");
    EXPECT_EQ(find("Editor"), editor); // the lower one
}

TEST_F(NamedWindows, AreFoundDownToADepth)
{
    const Window child = create(root(), "child");
    const Window grandchild = create(child, "grandchild");
    const Window third = create(create(create(root())), "third");
    const Window fourth = create(third, "fourth");
    EXPECT_EQ(find("child", 1), child);
    EXPECT_EQ(find("child", 0), child);
    EXPECT_EQ(find("grandchild", 1), None);
    EXPECT_EQ(find("grandchild", 2), grandchild);
    EXPECT_EQ(find("fourth", 3), None);
    EXPECT_EQ(find("fourth", 4), fourth);
    EXPECT_EQ(send("third", ""), "");
    EXPECT_EQ(send("fourth", ""), notFound("fourth"));
}

TEST_F(NamedWindows, AreFoundAmongTheChildrenFirstAndThenFamilyByFamily)
{
    const Window lower = create(root());
    const Window upper = create(root());
    const Window near = create(upper, "Wanted");
    EXPECT_EQ(find("Wanted"), near);
    const Window far = create(create(lower), "Wanted"); // deeper, but in the first family
    EXPECT_EQ(find("Wanted"), far);
    const Window child = create(root(), "Wanted");
    EXPECT_EQ(find("Wanted"), child);
}

TEST_F(NamedWindows, OnlyDecideWhetherTheFocusIsTypedInto)
{
    const Connection user(server);
    EventWindow named(server);
    XStoreName(user, named.id(),
        "Gr\xF6\xDF"
        "e");
    user.sync();
    EventWindow focused(server);
    EXPECT_EQ(send("Größe", "aя"), noKey(XK_Cyrillic_ya));
    EXPECT_EQ(focused.take(2), (Lines {"KeyPress a(38) state=0", "KeyRelease a(38) state=0"}));
    EXPECT_EQ(named.take(), Lines {});
}
