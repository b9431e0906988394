#include "typist_xcb.h"

#include <algorithm>
#include <utility>

#include "compose.h"
#include "receiver.h"
#include "turn.h"

#include <xkbcommon/xkbcommon.h>

namespace Zendra::Keyboard
{

namespace
{

constexpr std::uint8_t shift = XCB_MOD_MASK_SHIFT;
/// Characters sent between two round trips.
constexpr std::size_t charactersPerRoundTrip = 50;
const QString connectionLost = QStringLiteral("The connection to the display was lost");
const QString layoutChanged = QStringLiteral("The keyboard layout was changed meanwhile");

/// A line feed is typed with the Return key.
uint typedCodePoint(uint codePoint)
{
    return codePoint == '\n' ? uint('\r') : codePoint;
}

/// Traditional keysyms beyond Latin-1 are left out: not every program has all of them in its tables.
std::uint32_t keysymOf(uint codePoint)
{
    constexpr uint unicodeKeysyms = 0x01000000;
    return codePoint < 0x100 ? xkb_utf32_to_keysym(codePoint) : unicodeKeysyms + codePoint;
}

} // namespace

struct XcbTypist::Character {
    uint codePoint;
    int size;                    ///< in UTF-16 code units
    std::vector<Stroke> strokes; ///< none: it needs a spare key
};

/// Characters that are typed with one assignment of the spare keys.
class XcbTypist::Batch
{
public:
    Batch(
        const Keymap& keymap, std::uint8_t group, const std::vector<Character>& characters, std::size_t first)
        : m_first(first)
        , m_last(first)
    {
        const std::size_t levels = keymap.spareLevels().size();
        const std::size_t codes = keymap.spareCodes().size();
        const std::size_t room = codes * levels * Keymap::maximumGroups;
        std::vector<uint> missing;
        QHash<uint, std::size_t> places;
        for (; m_last < characters.size(); ++m_last) {
            const Character& character = characters[m_last];
            if (!character.strokes.empty() || places.contains(character.codePoint))
                continue;
            if (missing.size() == room)
                break;
            places.insert(character.codePoint, missing.size());
            missing.push_back(character.codePoint);
        }
        if (missing.empty())
            return;
        // Adjacent characters share a group, as each group change costs programs some time.
        const std::size_t usedCodes = std::min(codes, (missing.size() + levels - 1) / levels);
        const std::size_t charactersPerGroup = usedCodes * levels;
        const bool hasOneGroup = missing.size() <= charactersPerGroup;
        std::vector<std::vector<std::uint32_t>> keysyms(usedCodes);
        for (std::size_t place = 0; place < missing.size(); ++place) {
            const std::size_t keyGroup = place / charactersPerGroup;
            const std::size_t key = place % charactersPerGroup / levels;
            const std::size_t level = place % levels;
            m_strokes.insert(missing[place],
                {keymap.spareCodes()[key], keymap.spareLevels()[level],
                    hasOneGroup ? group : static_cast<std::uint8_t>(keyGroup)});
            keysyms[key].resize(keyGroup * levels + level);
            keysyms[key].push_back(keysymOf(missing[place]));
        }
        for (std::size_t key = 0; key < usedCodes; ++key)
            m_changes.insert(keymap.spareCodes()[key], keymap.spareKey(keysyms[key]));
    }

    std::size_t first() const { return m_first; }
    std::size_t last() const { return m_last; }
    const KeyChanges& changes() const { return m_changes; }
    void assignStrokes(std::vector<Character>& characters) const
    {
        for (std::size_t index = m_first; index < m_last; ++index) {
            if (characters[index].strokes.empty())
                characters[index].strokes.push_back(m_strokes.value(characters[index].codePoint));
        }
    }

private:
    std::size_t m_first;
    std::size_t m_last;
    QHash<uint, Stroke> m_strokes;
    KeyChanges m_changes;
};

XcbTypist::XcbTypist(std::unique_ptr<Server> server)
    : m_server(std::move(server))
{
}

XcbTypist::~XcbTypist() = default;

/// Reads the keymap unless it is known.
bool XcbTypist::readKeymap()
{
    m_server->synchronize(); // receives the events of all changes so far
    const int changes = m_server->mapChanges();
    if (changes == m_mapChanges)
        return true;
    std::optional<Keymap> keymap = Keymap::read(*m_server);
    if (!keymap)
        return false;
    m_keymap = std::move(*keymap);
    m_isSpareCommon = false;
    m_mapChanges = changes;
    return true;
}

bool XcbTypist::isKeymapKept(const KeyChanges& changes)
{
    m_server->synchronize();
    const int count = m_server->mapChanges();
    if (count == m_mapChanges || !m_server->isConnected())
        return true;
    // The core keyboard has a new map also whenever the user types on another one.
    const std::optional<Keymap> keymap = Keymap::read(*m_server);
    if (!keymap || !m_keymap.hasBecome(*keymap, changes))
        return false;
    m_mapChanges = count;
    return true;
}

Typist::SpareKeys XcbTypist::spareKeys()
{
    if (!readKeymap())
        return {};
    m_keymap.keepCommonSpareCodes(*m_server);
    const auto codes = static_cast<int>(m_keymap.spareCodes().size());
    return {codes, codes * static_cast<int>(m_keymap.spareLevels().size()) * Keymap::maximumGroups};
}

int XcbTypist::layoutVersion()
{
    const int group = m_server->state().group;
    const int changes = m_server->mapChanges();
    if (changes != m_versionMapChanges || group != m_versionGroup)
        ++m_layoutVersion;
    m_versionMapChanges = changes;
    m_versionGroup = group;
    return m_layoutVersion;
}

QString XcbTypist::recover()
{
    const Turn turn(*m_server, Turn::Modifiers::Keep, -1);
    return turn.errorText();
}

int XcbTypist::firstUntypable(const QString& text)
{
    const int index = firstUnplanned(text);
    // Another command may have taken all spare keys, and may have been killed.
    return index >= 0 && recover().isEmpty() ? firstUnplanned(text) : index;
}

int XcbTypist::firstUnplanned(const QString& text)
{
    const QVector<uint> characters = text.toUcs4();
    if (!readKeymap())
        return characters.isEmpty() ? -1 : 0;
    const std::uint8_t group = m_server->state().group;
    for (int index = 0; index < characters.size(); ++index) {
        std::vector<Character> planned;
        if (!plan(QString::fromUcs4(&characters.at(index), 1), group, planned).isEmpty())
            return index;
    }
    return -1;
}

/// Finds the strokes of characters that the layout has. Returns an error text.
QString XcbTypist::plan(const QString& text, std::uint8_t group, std::vector<Character>& characters)
{
    for (const uint codePoint : text.toUcs4()) {
        const uint typed = typedCodePoint(codePoint);
        Character character {typed, QChar::requiresSurrogates(typed) ? 2 : 1, {}};
        if (const std::optional<Stroke> stroke = m_keymap.find(typed, group))
            character.strokes = {*stroke};
        else if (!std::exchange(m_isSpareCommon, true))
            m_keymap.keepCommonSpareCodes(*m_server);
        if (character.strokes.empty() && m_keymap.spareCodes().empty())
            character.strokes = composedStrokes(m_keymap, typed, group).value_or(std::vector<Stroke>());
        if (QChar::isSurrogate(typed) || (character.strokes.empty() && m_keymap.spareCodes().empty())) {
            return QStringLiteral("The keyboard layout has no key for '%1', and no spare key codes")
                .arg(QString::fromUcs4(&typed, 1));
        }
        characters.push_back(std::move(character));
    }
    return {};
}

TypingResult XcbTypist::type(const QString& text, const TypingOptions& options)
{
    Turn turn(*m_server, options.keepModifiers ? Turn::Modifiers::Keep : Turn::Modifiers::Lift,
        options.interruption);
    if (!turn.errorText().isEmpty())
        return {0, turn.errorText()};
    if (!readKeymap())
        return {0, connectionLost};
    const KeyboardState state = m_server->state();
    m_lockedModifiers = state.locked;
    m_lockedGroup = state.lockedGroup;
    std::vector<Character> characters;
    const QString errorText = plan(text, state.group, characters);
    if (!errorText.isEmpty())
        return {0, errorText};
    turn.notePressed({m_keymap.modifierKey(shift), m_keymap.modifierKey(XCB_MOD_MASK_5)});
    TypingResult result = typeBatches(turn, characters, state.group, options);
    useGroup(state.lockedGroup);
    m_server->synchronize();
    if (!m_server->isConnected())
        result.errorText = connectionLost;
    return result;
}

TypingResult XcbTypist::typeBatches(
    Turn& turn, std::vector<Character>& characters, std::uint8_t group, const TypingOptions& options)
{
    TypingResult result;
    for (std::size_t next = 0; next < characters.size() && result.errorText.isEmpty();) {
        const Batch batch(m_keymap, group, characters, next);
        batch.assignStrokes(characters);
        next = batch.last();
        if (batch.changes().isEmpty()) {
            result.errorText = send(characters, batch, result.typed, options);
            if (result.errorText.isEmpty() && !isKeymapKept({}))
                result.errorText = layoutChanged;
            continue;
        }
        if (!turn.bind(m_keymap, batch.changes())) {
            result.errorText = layoutChanged;
            break;
        }
        const Receiver receiver(*m_server);
        receiver.awaitKeymap();
        result.errorText = send(characters, batch, result.typed, options);
        // Programs look up a key when they handle its event, so the map must not change until then, also
        // after an interruption.
        const int interruption = result.errorText.isEmpty() ? options.interruption : -1;
        const std::size_t count = batch.last() - batch.first();
        const Receiver lastReceiver(*m_server);
        QString errorText = receiver.awaitHandling(count, interruption);
        if (errorText.isEmpty() && !(lastReceiver == receiver))
            errorText = lastReceiver.awaitHandling(count, interruption);
        if (errorText.isEmpty() && !isKeymapKept(batch.changes()))
            errorText = layoutChanged;
        if (result.errorText.isEmpty())
            result.errorText = errorText;
    }
    return result;
}

QString XcbTypist::send(
    const std::vector<Character>& characters, const Batch& batch, int& typed, const TypingOptions& options)
{
    for (std::size_t index = batch.first(); index < batch.last(); ++index) {
        const bool isPaused = options.delay > 0 && index > 0;
        const bool isRoundTripDue = (index - batch.first()) % charactersPerRoundTrip == 0;
        if (isRoundTripDue && !isKeymapKept(batch.changes()))
            return layoutChanged;
        if (!m_server->isConnected())
            return connectionLost;
        if ((isPaused || isRoundTripDue)
            && !m_server->pause(isPaused ? options.delay : 0, options.interruption))
            return QStringLiteral("Interrupted");
        for (const Stroke& stroke : characters[index].strokes)
            sendStroke(stroke);
        typed += characters[index].size;
    }
    return {};
}

void XcbTypist::sendStroke(const Stroke& stroke)
{
    useGroup(stroke.group);
    std::vector<xcb_keycode_t> modifierKeys;
    std::uint8_t others = 0;
    for (unsigned int bit = 1; bit <= XCB_MOD_MASK_5; bit <<= 1) {
        const auto modifier = static_cast<std::uint8_t>(stroke.modifiers & bit);
        if (modifier == 0)
            continue;
        if (const xcb_keycode_t code = m_keymap.modifierKey(modifier))
            modifierKeys.push_back(code);
        else
            others |= modifier;
    }
    if (others != 0)
        m_server->lock(m_lockedModifiers | others, m_lockedGroup);
    for (const xcb_keycode_t code : modifierKeys)
        m_server->sendKey(code, true);
    m_server->sendKey(stroke.code, true);
    m_server->sendKey(stroke.code, false);
    for (auto code = modifierKeys.rbegin(); code != modifierKeys.rend(); ++code)
        m_server->sendKey(*code, false);
    if (others != 0)
        m_server->lock(m_lockedModifiers, m_lockedGroup);
}

void XcbTypist::useGroup(std::uint8_t group)
{
    if (group == m_lockedGroup)
        return;
    m_lockedGroup = group;
    m_server->lock(m_lockedModifiers, group);
}

} // namespace Zendra::Keyboard

extern "C" Q_DECL_EXPORT Zendra::Typist* zendraTypist(const QByteArray& displayName);

/// The module's entry function.
Zendra::Typist* zendraTypist(const QByteArray& displayName)
{
    using namespace Zendra::Keyboard;
    std::unique_ptr<Server> server = Server::connect(displayName);
    return server ? new XcbTypist(std::move(server)) : nullptr;
}
