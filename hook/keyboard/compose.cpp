#include "compose.h"

#include <algorithm>
#include <clocale>
#include <memory>

#include <QString>

#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

namespace Zendra::Keyboard
{

namespace
{

struct Accent {
    ushort combining;
    xkb_keysym_t deadKey;
    char afterCompose;
};

constexpr Accent accents[] = {
    {0x300, XKB_KEY_dead_grave, '`'},
    {0x301, XKB_KEY_dead_acute, '\''},
    {0x302, XKB_KEY_dead_circumflex, '^'},
    {0x303, XKB_KEY_dead_tilde, '~'},
    {0x304, XKB_KEY_dead_macron, '-'},
    {0x306, XKB_KEY_dead_breve, 'U'},
    {0x307, XKB_KEY_dead_abovedot, '.'},
    {0x308, XKB_KEY_dead_diaeresis, '"'},
    {0x30A, XKB_KEY_dead_abovering, 'o'},
    {0x30B, XKB_KEY_dead_doubleacute, '='},
    {0x30C, XKB_KEY_dead_caron, 'c'},
    {0x327, XKB_KEY_dead_cedilla, ','},
    {0x328, XKB_KEY_dead_ogonek, ';'},
};

/// The result of a sequence in the compose tables of the user's locale.
class Composer
{
public:
    Composer()
        : m_context(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES), &xkb_context_unref)
        , m_table(xkb_compose_table_new_from_locale(m_context.get(), locale(), XKB_COMPOSE_COMPILE_NO_FLAGS),
              &xkb_compose_table_unref)
        , m_state(m_table ? xkb_compose_state_new(m_table.get(), XKB_COMPOSE_STATE_NO_FLAGS) : nullptr,
              &xkb_compose_state_unref)
    {
    }

    bool yields(const std::vector<xkb_keysym_t>& sequence, uint codePoint)
    {
        if (!m_state)
            return false;
        xkb_compose_state_reset(m_state.get());
        for (const xkb_keysym_t keysym : sequence)
            xkb_compose_state_feed(m_state.get(), keysym);
        char text[16] = {};
        xkb_compose_state_get_utf8(m_state.get(), text, sizeof text);
        return xkb_compose_state_get_status(m_state.get()) == XKB_COMPOSE_COMPOSED
            && QString::fromUtf8(text) == QString::fromUcs4(&codePoint, 1);
    }

private:
    static const char* locale()
    {
        for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
            const char* value = std::getenv(name);
            if (value != nullptr && *value != '\0')
                return value;
        }
        return "C";
    }

    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> m_context;
    std::unique_ptr<xkb_compose_table, decltype(&xkb_compose_table_unref)> m_table;
    std::unique_ptr<xkb_compose_state, decltype(&xkb_compose_state_unref)> m_state;
};

} // namespace

std::optional<std::vector<Stroke>> composedStrokes(const Keymap& keymap, uint codePoint, std::uint8_t group)
{
    const QString parts = QString::fromUcs4(&codePoint, 1).normalized(QString::NormalizationForm_D);
    if (parts.size() != 2)
        return std::nullopt;
    const auto* accent = std::find_if(std::begin(accents), std::end(accents),
        [&parts](const Accent& candidate) { return candidate.combining == parts.at(1).unicode(); });
    const std::optional<Stroke> letter = keymap.find(parts.at(0).unicode(), group);
    if (accent == std::end(accents) || !letter)
        return std::nullopt;
    static Composer composer;
    const xkb_keysym_t letterKeysym = xkb_utf32_to_keysym(parts.at(0).unicode());
    const std::optional<Stroke> dead = keymap.findKeysym(accent->deadKey, group);
    if (dead && composer.yields({accent->deadKey, letterKeysym}, codePoint))
        return std::vector<Stroke> {*dead, *letter};
    const std::optional<Stroke> compose = keymap.findKeysym(XKB_KEY_Multi_key, group);
    const auto mark = QLatin1Char(accent->afterCompose).unicode();
    const std::optional<Stroke> markStroke = keymap.find(mark, group);
    if (compose && markStroke
        && composer.yields({XKB_KEY_Multi_key, xkb_utf32_to_keysym(mark), letterKeysym}, codePoint))
        return std::vector<Stroke> {*compose, *markStroke, *letter};
    return std::nullopt;
}

} // namespace Zendra::Keyboard
