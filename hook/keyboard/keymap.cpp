#include "keymap.h"

#include <algorithm>
#include <iterator>

#include "server.h"
#include "xkb.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

namespace Zendra::Keyboard
{

namespace
{

constexpr std::uint8_t shift = XCB_MOD_MASK_SHIFT;
/// The modifiers with which programs do something other than insert a character.
constexpr std::uint8_t commandModifiers
    = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4 | XCB_MOD_MASK_LOCK;

bool isKeypad(std::uint32_t keysym)
{
    return keysym >= XKB_KEY_KP_Space && keysym <= XKB_KEY_KP_Equal;
}

KeySymbols toKeySymbols(const xcb_xkb_key_sym_map_t* data)
{
    KeySymbols key;
    std::copy_n(data->kt_index, key.types.size(), key.types.begin());
    key.groupInfo = data->groupInfo;
    key.width = data->width;
    const xcb_keysym_t* keysyms = xcb_xkb_key_sym_map_syms(data);
    key.keysyms.assign(keysyms, keysyms + data->nSyms);
    return key;
}

/// Appends a key in wire format; returns its number of keysyms.
std::size_t appendKey(QByteArray& bytes, const KeySymbols& key)
{
    xcb_xkb_key_sym_map_t head {};
    std::copy(key.types.begin(), key.types.end(), head.kt_index);
    head.groupInfo = key.groupInfo;
    head.width = key.width;
    head.nSyms = static_cast<std::uint16_t>(key.keysyms.size());
    bytes.append(reinterpret_cast<const char*>(&head), sizeof head);
    bytes.append(reinterpret_cast<const char*>(key.keysyms.data()),
        static_cast<int>(key.keysyms.size() * sizeof(std::uint32_t)));
    return key.keysyms.size();
}

/// The symbols of a range of keys on each keyboard.
std::vector<std::vector<KeySymbols>> keysOfAll(Server& server, int first, int last)
{
    const auto count = static_cast<std::uint8_t>(last - first + 1);
    std::vector<xcb_xkb_get_map_cookie_t> cookies;
    for (const std::uint16_t keyboard : server.keyboards()) {
        cookies.push_back(xcb_xkb_get_map(server, keyboard, 0, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0,
            static_cast<xcb_keycode_t>(first), count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    }
    std::vector<std::vector<KeySymbols>> keyboards;
    for (const auto& cookie : cookies) {
        std::vector<KeySymbols> keys;
        const Reply<xcb_xkb_get_map_reply_t> reply(xcb_xkb_get_map_reply(server, cookie, nullptr));
        if (reply != nullptr) {
            xcb_xkb_get_map_map_t map {};
            xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors, reply->virtualMods,
                reply->totalKeyExplicit, reply->totalModMapKeys, reply->totalVModMapKeys, reply->present,
                &map);
            auto symbols = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map);
            for (; symbols.rem > 0; xcb_xkb_key_sym_map_next(&symbols))
                keys.push_back(toKeySymbols(symbols.data));
        }
        keys.resize(count);
        keyboards.push_back(std::move(keys));
    }
    return keyboards;
}

int bitCount(unsigned int bits)
{
    int count = 0;
    for (; bits != 0; bits &= bits - 1)
        ++count;
    return count;
}

} // namespace

int KeySymbols::effectiveGroup(int group) const
{
    const int count = groupCount();
    if (count == 0 || group < count)
        return group;
    if ((groupInfo & XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE) != 0)
        return count - 1;
    if ((groupInfo & XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE) != 0) {
        const int target = (groupInfo >> 4) & 0x3;
        return target < count ? target : 0;
    }
    return group % count;
}

bool KeySymbols::isEmpty() const
{
    return std::all_of(keysyms.begin(), keysyms.end(), [](std::uint32_t keysym) { return keysym == 0; });
}

std::optional<Keymap> Keymap::read(Server& server)
{
    constexpr std::uint16_t parts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS
        | XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS
        | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    const auto cookie = xcb_xkb_get_map(
        server, server.ownKeyboard(), parts, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const Reply<xcb_xkb_get_map_reply_t> reply(xcb_xkb_get_map_reply(server, cookie, nullptr));
    if (reply == nullptr)
        return std::nullopt;
    xcb_xkb_get_map_map_t map {};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
        reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors, reply->virtualMods,
        reply->totalKeyExplicit, reply->totalModMapKeys, reply->totalVModMapKeys, reply->present, &map);

    Keymap keymap;
    keymap.m_firstCode = reply->minKeyCode;
    keymap.m_lastCode = reply->maxKeyCode;
    const auto types = xcb_xkb_get_map_map_types_rtrn_iterator(reply.get(), &map);
    keymap.readTypes(&types);
    const auto symbols = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map);
    keymap.readKeys(&symbols, reply->firstKeySym);

    std::array<bool, 256> isUsed {};
    for (int index = 0; index < reply->nKeyActions; ++index)
        isUsed[reply->firstKeyAction + index] = map.acts_rtrn_count[index] != 0;
    for (int index = 0; index < reply->totalKeyExplicit; ++index)
        isUsed[map.explicit_rtrn[index].keycode] = true;
    for (int index = 0; index < reply->totalVModMapKeys; ++index)
        isUsed[map.vmodmap_rtrn[index].keycode] = true;
    for (int index = 0; index < reply->totalModMapKeys; ++index)
        keymap.m_modifierMap[map.modmap_rtrn[index].keycode] = map.modmap_rtrn[index].mods;
    for (int code = keymap.m_firstCode; code <= keymap.m_lastCode; ++code) {
        if (!isUsed[code] && keymap.m_modifierMap[code] == 0 && keymap.m_keys[code].isEmpty())
            keymap.m_spareCodes.push_back(static_cast<xcb_keycode_t>(code));
    }
    keymap.findSpareLevels();
    keymap.indexStrokes();
    return keymap;
}

void Keymap::readTypes(const void* iterator)
{
    for (auto types = *static_cast<const xcb_xkb_key_type_iterator_t*>(iterator); types.rem > 0;
         xcb_xkb_key_type_next(&types)) {
        KeyType type {types.data->mods_mask, types.data->numLevels, {}};
        type.levels.resize(static_cast<std::size_t>(std::max(type.levelCount, 1)));
        type.levels[0] = 0;
        auto entries = xcb_xkb_key_type_map_iterator(types.data);
        for (; entries.rem > 0; xcb_xkb_kt_map_entry_next(&entries)) {
            const xcb_xkb_kt_map_entry_t& entry = *entries.data;
            if (entry.active == 0 || entry.mods_mask == 0 || entry.level >= type.levels.size()
                || (entry.mods_mask & commandModifiers) != 0)
                continue;
            std::optional<std::uint8_t>& modifiers = type.levels[entry.level];
            if (!modifiers || bitCount(entry.mods_mask) < bitCount(*modifiers))
                modifiers = entry.mods_mask;
        }
        m_types.push_back(std::move(type));
    }
}

void Keymap::readKeys(const void* iterator, int firstCode)
{
    auto symbols = *static_cast<const xcb_xkb_key_sym_map_iterator_t*>(iterator);
    for (int code = firstCode; symbols.rem > 0 && code < 256; ++code, xcb_xkb_key_sym_map_next(&symbols)) {
        const KeySymbols& key = m_keys[code] = toKeySymbols(symbols.data);
        m_groupCount = std::max(m_groupCount, std::min(key.groupCount(), maximumGroups));
    }
}

/// The type with the most levels that Shift and the modifier of the third level reach, and nothing else.
void Keymap::findSpareLevels()
{
    for (std::size_t index = 0; index < m_types.size(); ++index) {
        const KeyType& type = m_types[index];
        const auto third = static_cast<std::uint8_t>(type.modifiers & ~shift);
        const bool isTwoLevel = type.levelCount == 2 && type.modifiers == shift;
        const bool isFourLevel = type.levelCount == 4 && (type.modifiers & shift) != 0 && bitCount(third) == 1
            && (third & commandModifiers) == 0 && type.levels[2] == third
            && type.levels[3] == static_cast<std::uint8_t>(third | shift);
        if ((isTwoLevel || isFourLevel) && type.levels[1] == shift
            && type.levels.size() > m_spareLevels.size()) {
            m_spareType = static_cast<int>(index);
            m_spareLevels.clear();
            for (const auto& modifiers : type.levels)
                m_spareLevels.push_back(*modifiers);
        }
    }
}

template <typename Visit>
void Keymap::visitLevels(xcb_keycode_t code, int group, Visit visit) const
{
    const KeySymbols& key = m_keys[code];
    const int keyGroup = key.effectiveGroup(group);
    if (key.groupCount() == 0 || keyGroup >= maximumGroups || key.types[keyGroup] >= m_types.size())
        return;
    const KeyType& type = m_types[key.types[keyGroup]];
    for (int level = 0; level < type.levelCount && level < key.width; ++level) {
        const std::size_t index = static_cast<std::size_t>(keyGroup) * key.width + level;
        if (index < key.keysyms.size() && type.levels[level])
            visit(key.keysyms[index], Stroke {code, *type.levels[level], static_cast<std::uint8_t>(group)});
    }
}

void Keymap::indexStrokes()
{
    for (int code = m_firstCode; code <= m_lastCode; ++code) {
        const auto keyCode = static_cast<xcb_keycode_t>(code);
        for (int group = 0; group < m_groupCount; ++group) {
            visitLevels(keyCode, group, [this, group](std::uint32_t keysym, const Stroke& stroke) {
                const uint character = isKeypad(keysym) ? 0 : xkb_keysym_to_utf32(keysym);
                if (character != 0 && !m_strokes[group].contains(character))
                    m_strokes[group].insert(character, stroke);
                const std::uint8_t modifier = m_modifierMap[stroke.code];
                if (group == 0 && stroke.modifiers == 0 && !m_modifierKeys.contains(modifier)
                    && (keysym == XKB_KEY_Shift_L || keysym == XKB_KEY_ISO_Level3_Shift))
                    m_modifierKeys.insert(modifier, stroke.code);
            });
        }
    }
}

std::optional<Stroke> Keymap::find(uint codePoint, std::uint8_t group) const
{
    for (int step = 0; step < maximumGroups; ++step) {
        const auto& strokes = m_strokes[(group + step) % maximumGroups];
        const auto found = strokes.constFind(codePoint);
        if (found != strokes.constEnd())
            return *found;
    }
    return std::nullopt;
}

std::optional<Stroke> Keymap::findKeysym(std::uint32_t keysym, std::uint8_t group) const
{
    std::optional<Stroke> found;
    for (int step = 0; step < m_groupCount && !found; ++step) {
        for (int code = m_firstCode; code <= m_lastCode && !found; ++code) {
            visitLevels(static_cast<xcb_keycode_t>(code), (group + step) % m_groupCount,
                [&](std::uint32_t candidate, const Stroke& stroke) {
                    if (candidate == keysym && !found)
                        found = stroke;
                });
        }
    }
    return found;
}

KeySymbols Keymap::spareKey(const std::vector<std::uint32_t>& keysyms) const
{
    const std::size_t levels = m_spareLevels.size();
    const std::size_t groups = (keysyms.size() + levels - 1) / levels;
    KeySymbols key;
    key.types.fill(static_cast<std::uint8_t>(m_spareType));
    key.groupInfo = static_cast<std::uint8_t>(groups);
    key.width = static_cast<std::uint8_t>(levels);
    key.keysyms = keysyms;
    key.keysyms.resize(groups * levels, XKB_KEY_NoSymbol);
    // A core-protocol client treats a capital letter beside an empty level as its lower case.
    for (std::size_t level = 0; levels > 1 && level < key.keysyms.size(); ++level) {
        if (key.keysyms[level] == XKB_KEY_NoSymbol)
            key.keysyms[level] = key.keysyms[level ^ 1U];
    }
    return key;
}

void Keymap::keepCommonSpareCodes(Server& server)
{
    if (m_spareCodes.empty())
        return;
    const int first = m_spareCodes.front();
    const std::vector<std::vector<KeySymbols>> keyboards = keysOfAll(server, first, m_spareCodes.back());
    const auto differs = [&](xcb_keycode_t code) {
        return std::any_of(keyboards.begin(), keyboards.end(), [&](const std::vector<KeySymbols>& keys) {
            return !(keys[static_cast<std::size_t>(code - first)] == m_keys[code]);
        });
    };
    m_spareCodes.erase(std::remove_if(m_spareCodes.begin(), m_spareCodes.end(), differs), m_spareCodes.end());
}

bool Keymap::hasBecome(const Keymap& later, const KeyChanges& changes) const
{
    for (int index = 0; index < 256; ++index) {
        const auto code = static_cast<xcb_keycode_t>(index);
        const bool isSpare = std::binary_search(m_spareCodes.begin(), m_spareCodes.end(), code);
        if ((!isSpare || changes.contains(code))
            && !(later.m_keys[code] == changes.value(code, m_keys[code])))
            return false;
    }
    return later.m_types == m_types && later.m_modifierMap == m_modifierMap;
}

bool replaceKeys(Server& server, const KeyChanges& before, const KeyChanges& after)
{
    if (after.isEmpty())
        return true;
    server.mapChanges(); // counts those of others up to now
    const xcb_setup_t* setup = xcb_get_setup(server);
    const xcb_keycode_t first = after.firstKey();
    const std::vector<std::vector<KeySymbols>> keyboards = keysOfAll(server, first, after.lastKey());
    bool areReplaced = true;
    for (std::size_t index = 0; index < keyboards.size(); ++index) {
        std::vector<KeySymbols> keys = keyboards[index];
        for (auto key = after.begin(); key != after.end(); ++key) {
            KeySymbols& present = keys[static_cast<std::size_t>(key.key() - first)];
            if (present == before.value(key.key()))
                present = *key;
            else if (server.keyboards()[index] == server.ownKeyboard())
                areReplaced = false;
        }
        QByteArray bytes;
        std::size_t total = 0;
        for (const KeySymbols& key : keys)
            total += appendKey(bytes, key);
        const auto cookie = xcb_xkb_set_map(server, server.keyboards()[index], XCB_XKB_MAP_PART_KEY_SYMS, 0,
            setup->min_keycode, setup->max_keycode, 0, 0, first, static_cast<std::uint8_t>(keys.size()),
            static_cast<std::uint16_t>(total), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
            bytes.constData());
        server.noteOwnChange(cookie.sequence);
    }
    return areReplaced;
}

} // namespace Zendra::Keyboard
