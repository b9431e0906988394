#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QHash>
#include <QMap>

#include <xcb/xcb.h>

namespace Zendra::Keyboard
{

class Server;

/// A key that yields a character, with the required modifiers and group.
struct Stroke {
    xcb_keycode_t code = 0;
    std::uint8_t modifiers = 0; ///< X masks
    std::uint8_t group = 0;
};

/// The symbols of one key in wire format.
struct KeySymbols {
    std::array<std::uint8_t, 4> types {};
    std::uint8_t groupInfo = 0; ///< the number of groups, and how out-of-range groups are handled
    std::uint8_t width = 0;     ///< levels in a group
    std::vector<std::uint32_t> keysyms;

    int groupCount() const { return groupInfo & 0x0F; }
    /// The group of this key that is used while `group` is the effective group.
    int effectiveGroup(int group) const;
    bool isEmpty() const;
    friend bool operator==(const KeySymbols& left, const KeySymbols& right)
    {
        return left.types == right.types && left.groupInfo == right.groupInfo && left.width == right.width
            && left.keysyms == right.keysyms;
    }
};

using KeyChanges = QMap<xcb_keycode_t, KeySymbols>;

/// A snapshot of the server's keymap.
class Keymap
{
public:
    static constexpr int maximumGroups = 4;

    static std::optional<Keymap> read(Server& server);

    /// The key for a character: in `group` if it is there, else in any other one.
    std::optional<Stroke> find(uint codePoint, std::uint8_t group) const;
    /// The same for a keysym without a character, such as that of a dead key.
    std::optional<Stroke> findKeysym(std::uint32_t keysym, std::uint8_t group) const;
    /// Leaves out spare keys that are not the same on all keyboards.
    void keepCommonSpareCodes(Server& server);
    /// The keys without symbols, modifiers and actions.
    const std::vector<xcb_keycode_t>& spareCodes() const { return m_spareCodes; }
    /// The modifiers of each level that a spare key can have.
    const std::vector<std::uint8_t>& spareLevels() const { return m_spareLevels; }
    /// The symbols for a spare key: `keysyms` fill level after level, then group after group.
    KeySymbols spareKey(const std::vector<std::uint32_t>& keysyms) const;

    const KeySymbols& key(xcb_keycode_t code) const { return m_keys[code]; }
    /// Whether `later` differs in nothing but these changes and other spare keys.
    bool hasBecome(const Keymap& later, const KeyChanges& changes) const;
    /// The key that sets a modifier, for one of ShiftMask and that of the third level; 0 for others.
    xcb_keycode_t modifierKey(std::uint8_t modifier) const { return m_modifierKeys.value(modifier); }
    /// The modifiers that a key sets, as X masks.
    std::uint8_t modifiersOf(xcb_keycode_t code) const { return m_modifierMap[code]; }

private:
    struct KeyType {
        std::uint8_t modifiers;
        int levelCount;
        std::vector<std::optional<std::uint8_t>> levels; ///< the modifiers that lead to each

        friend bool operator==(const KeyType& left, const KeyType& right)
        {
            return left.modifiers == right.modifiers && left.levels == right.levels;
        }
    };

    void readTypes(const void* iterator);
    void readKeys(const void* iterator, int firstCode);
    void findSpareLevels();
    void indexStrokes();
    template <typename Visit>
    void visitLevels(xcb_keycode_t code, int group, Visit visit) const;

    int m_firstCode = 0;
    int m_lastCode = 0;
    std::vector<KeyType> m_types;
    std::array<KeySymbols, 256> m_keys;
    std::array<std::uint8_t, 256> m_modifierMap {};
    QHash<std::uint8_t, xcb_keycode_t> m_modifierKeys;
    std::vector<xcb_keycode_t> m_spareCodes;
    std::vector<std::uint8_t> m_spareLevels {0};
    int m_spareType = 0;
    int m_groupCount = 1;
    std::array<QHash<uint, Stroke>, maximumGroups> m_strokes; ///< by character
};

/// Sets new symbols for keys that are still as in `before`, on all keyboards. Each keymap is changed once, as
/// toolkits take some milliseconds per change. Returns whether all keys of the XTEST keyboard were unchanged.
bool replaceKeys(Server& server, const KeyChanges& before, const KeyChanges& after);

} // namespace Zendra::Keyboard
