// Shared memory: whatever fails, the segments in the system are those that are in use.

#include <gtest/gtest.h>

#include <stdexcept>

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "image_xlib.h"
#include "receiver.h"
#include "servershm_xlib.h"
#include "xserver.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

using namespace Zendra::Tests;
using namespace Zendra::Xlib;

namespace
{

bool refuseMapping = false;
bool refuseAttaching = false;

template <typename Operation>
std::string failureOf(Operation operation)
{
    try {
        operation();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

} // namespace

// In place of the libraries' functions, for all of this program.
extern "C" Q_DECL_EXPORT void* shmat(int id, const void* address, int flags)
{
    static const auto original = reinterpret_cast<decltype(&shmat)>(dlsym(RTLD_NEXT, "shmat"));
    return original(refuseMapping ? -1 : id, address, flags);
}

extern "C" Q_DECL_EXPORT Bool XShmAttach(Display* display, XShmSegmentInfo* info)
{
    static const auto original = reinterpret_cast<decltype(&XShmAttach)>(dlsym(RTLD_NEXT, "XShmAttach"));
    return refuseAttaching ? False : original(display, info);
}

TEST(ShmBuffer, TakesNewMemoryForANewSizeOnly)
{
    {
        ShmBuffer buffer(5000);
        const ShmSegments before = ownSegments();
        void* const address = buffer.address();
        buffer.resize(5000);
        EXPECT_EQ(failureOf([&] { buffer.resize(0); }), "Failed allocating shared memory segment");
        refuseMapping = true;
        EXPECT_EQ(failureOf([&] { buffer.resize(6000); }), "Failed mapping the shared memory segment");
        refuseMapping = false;
        EXPECT_EQ(ownSegments(), before);
        EXPECT_EQ(buffer.address(), address);
        buffer.resize(100);
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), buffer.size(), 0666}}));
    }
    EXPECT_EQ(ownSegments(), ShmSegments {});
}

TEST(XShmBuffer, StaysInUseWhenItsSuccessorFails)
{
    const XServer server;
    const Connection connection(server);
    const Window root = DefaultRootWindow(connection.get());
    XSetWindowBackground(connection, root, 0x123456);
    XClearWindow(connection, root);
    {
        XShmBuffer buffer(connection, 4000);
        const Image image(buffer.createImage({50, 20}, DefaultVisual(connection.get(), 0), 24));
        const ShmSegments before = ownSegments();
        refuseAttaching = true;
        EXPECT_EQ(failureOf([&] { buffer.resize(9000); }), "Failed attaching the shared memory region");
        refuseAttaching = false;
        EXPECT_EQ(ownSegments(), before);
        ASSERT_TRUE(buffer.grab(image.get(), {3, 4}));
        EXPECT_EQ(static_cast<unsigned int*>(buffer.address())[999], 0x123456U);
        // Both sides have it now: nobody else can have it, and it goes with the last of them.
        constexpr unsigned int closed = 01600;
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), 4000, closed}}));

        buffer.resize(9000); // the image goes on with it
        ASSERT_TRUE(buffer.grab(image.get(), {3, 4}));
        EXPECT_EQ(static_cast<unsigned int*>(buffer.address())[999], 0x123456U);
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), 9000, closed}}));
    }
    connection.sync();
    EXPECT_EQ(ownSegments(), ShmSegments {});
}
