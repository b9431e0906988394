#pragma once

// The header of xcb's XKB calls a member "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
