// Shared memory: whatever fails, the segments in the system are those that are in use.

#include <gtest/gtest.h>

#include <stdexcept>

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "image_xlib.h"
#include "servershm_xlib.h"
#include "shmsegments.h"
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

template <typename Function>
Function systemFunction(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

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
    static const auto original = systemFunction<void* (*)(int, const void*, int)>("shmat");
    return original(refuseMapping ? -1 : id, address, flags);
}

extern "C" Q_DECL_EXPORT Bool XShmAttach(Display* display, XShmSegmentInfo* info)
{
    static const auto original = systemFunction<Bool (*)(Display*, XShmSegmentInfo*)>("XShmAttach");
    return refuseAttaching ? False : original(display, info);
}

TEST(ShmBuffer, TakesNewMemoryForANewSizeOnly)
{
    {
        ShmBuffer buffer(5000);
        const int id = buffer.id();
        void* const address = buffer.address();
        buffer.resize(5000);
        EXPECT_EQ(buffer.id(), id);
        EXPECT_EQ(buffer.address(), address);
        buffer.resize(100);
        EXPECT_NE(buffer.id(), id);
        EXPECT_EQ(buffer.size(), 100U);
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), 100, false}}));
    }
    EXPECT_EQ(ownSegments(), ShmSegments {});
}

TEST(ShmBuffer, AFailureLeavesWhatThereWas)
{
    ShmBuffer buffer(5000);
    const ShmSegments before = ownSegments();
    EXPECT_EQ(failureOf([&] { buffer.resize(0); }), "Failed allocating shared memory segment");
    EXPECT_EQ(failureOf([] { ShmMapping(-1, 0, nullptr); }), "Failed mapping the shared memory segment");
    refuseMapping = true;
    EXPECT_EQ(failureOf([&] { buffer.resize(6000); }), "Failed mapping the shared memory segment");
    refuseMapping = false;
    EXPECT_EQ(ownSegments(), before);
    EXPECT_EQ(buffer.size(), 5000U);
}

TEST(XShmBuffer, StaysInUseWhenItsSuccessorFails)
{
    const XServer server;
    const Connection connection(server);
    Visual* visual = DefaultVisual(connection.get(), 0);
    {
        XShmBuffer buffer(connection, 4000);
        const Image image(buffer.createImage({50, 20}, visual, 24));
        const ShmSegments before = ownSegments();
        EXPECT_EQ(before, (ShmSegments {{buffer.id(), 4000, false}}));
        refuseAttaching = true;
        EXPECT_EQ(failureOf([&] { buffer.resize(9000); }), "Failed attaching the shared memory region");
        EXPECT_EQ(failureOf([&] { XShmBuffer(connection, 1); }), "Failed attaching the shared memory region");
        refuseAttaching = false;
        EXPECT_EQ(ownSegments(), before);
        XSetWindowBackground(connection, DefaultRootWindow(connection.get()), 0x123456);
        XClearWindow(connection, DefaultRootWindow(connection.get()));
        ASSERT_TRUE(buffer.grab(image.get(), {3, 4}));
        EXPECT_EQ(static_cast<unsigned int*>(buffer.address())[999], 0x123456U);
        // Both sides have it now, and it goes with the last of them.
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), 4000, true}}));

        buffer.resize(9000); // the image goes on with it
        ASSERT_TRUE(buffer.grab(image.get(), {3, 4}));
        EXPECT_EQ(static_cast<unsigned int*>(buffer.address())[999], 0x123456U);
        EXPECT_EQ(ownSegments(), (ShmSegments {{buffer.id(), 9000, true}}));
    }
    connection.sync();
    EXPECT_EQ(ownSegments(), ShmSegments {});
}
