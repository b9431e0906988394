#include "threads.h"

#include <X11/Xlib.h>

namespace Zendra::Runner
{

void allowThreads()
{
    XInitThreads();
}

} // namespace Zendra::Runner
