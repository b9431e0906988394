#pragma once

#include <optional>
#include <vector>

#include "keymap.h"

namespace Zendra::Keyboard
{

/// The strokes that compose a character in the user's locale: a dead key of the layout and a letter, or
/// Compose, an accent and a letter.
std::optional<std::vector<Stroke>> composedStrokes(const Keymap& keymap, uint codePoint, std::uint8_t group);

} // namespace Zendra::Keyboard
