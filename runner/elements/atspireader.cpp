#include "atspireader.h"

#include <array>
#include <cstring>

namespace Zendra::Runner
{

namespace
{

constexpr int longestText = 4096;       ///< bytes
constexpr std::uint32_t labelledBy = 2; ///< ATSPI_RELATION_LABELLED_BY

/// Walks through the values of a message, or of a container in it.
class Values
{
public:
    explicit Values(const DBus::Message& message)
    {
        m_isValid = message.isReply() && dbus_message_iter_init(message.get(), &m_iter) != 0;
    }

    int type() const
    {
        return m_isValid ? dbus_message_iter_get_arg_type(const_cast<DBusMessageIter*>(&m_iter))
                         : DBUS_TYPE_INVALID;
    }
    bool atEnd() const { return type() == DBUS_TYPE_INVALID; }

    /// The contents of a container; empty for another type.
    Values enter(int expected)
    {
        Values inner;
        if (type() == expected) {
            dbus_message_iter_recurse(&m_iter, &inner.m_iter);
            inner.m_isValid = true;
        }
        next();
        return inner;
    }

    /// The contents of a variant, or else the same values.
    Values unwrapped() { return type() == DBUS_TYPE_VARIANT ? enter(DBUS_TYPE_VARIANT) : *this; }

    QByteArray bytes()
    {
        const char* text = nullptr;
        if (type() == DBUS_TYPE_STRING || type() == DBUS_TYPE_OBJECT_PATH)
            dbus_message_iter_get_basic(&m_iter, &text);
        next();
        return text == nullptr ? QByteArray() : QByteArray(text);
    }

    QString text()
    {
        const char* text = nullptr;
        if (type() == DBUS_TYPE_STRING)
            dbus_message_iter_get_basic(&m_iter, &text);
        next();
        if (text == nullptr)
            return {};
        std::size_t length = strnlen(text, longestText);
        // Not in the middle of a character.
        while (length == longestText && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U
            && length > 0)
            --length;
        return QString::fromUtf8(text, static_cast<int>(length));
    }

    std::uint32_t number()
    {
        std::uint32_t value = 0;
        if (type() == DBUS_TYPE_INT32 || type() == DBUS_TYPE_UINT32)
            dbus_message_iter_get_basic(&m_iter, &value);
        next();
        return value;
    }
    int integer() { return static_cast<int>(number()); }

    std::optional<double> real()
    {
        if (type() != DBUS_TYPE_DOUBLE)
            return std::nullopt;
        double value = 0.0;
        dbus_message_iter_get_basic(&m_iter, &value);
        return value;
    }

    AccessibleRef ref()
    {
        Values pair = enter(DBUS_TYPE_STRUCT);
        AccessibleRef ref;
        ref.application = pair.bytes();
        ref.path = pair.bytes();
        const bool isNone
            = ref.path.endsWith("/null") || dbus_validate_bus_name(ref.application.constData(), nullptr) == 0;
        return isNone ? AccessibleRef() : ref;
    }

    StateSet states()
    {
        Values words = enter(DBUS_TYPE_ARRAY);
        StateSet states = words.number();
        states |= static_cast<StateSet>(words.number()) << 32U;
        return states;
    }

    InterfaceSet interfaces()
    {
        static constexpr std::array<std::pair<const char*, Interface>, 7> known
            = {{{"Action", Interface::Action}, {"Component", Interface::Component},
                {"EditableText", Interface::EditableText}, {"Selection", Interface::Selection},
                {"Table", Interface::Table}, {"Text", Interface::Text}, {"Value", Interface::Value}}};
        InterfaceSet found;
        for (Values names = enter(DBUS_TYPE_ARRAY); !names.atEnd();) {
            const QByteArray name = names.bytes();
            for (const auto& [ending, interface] : known) {
                if (name == QByteArray("org.a11y.atspi.") + ending)
                    found |= interface;
            }
        }
        return found;
    }

private:
    Values() = default;
    void next()
    {
        if (m_isValid)
            dbus_message_iter_next(&m_iter);
    }

    DBusMessageIter m_iter {};
    bool m_isValid = false;
};

} // namespace

QString toText(const DBus::Message& reply)
{
    return Values(reply).unwrapped().text();
}

std::optional<double> toDouble(const DBus::Message& reply)
{
    Values value = Values(reply).unwrapped();
    if (value.type() == DBUS_TYPE_INT32)
        return value.integer();
    if (value.type() == DBUS_TYPE_UINT32)
        return value.number();
    return value.real();
}

QRect toRect(const DBus::Message& reply)
{
    constexpr int limit = 1 << 20;
    Values numbers = Values(reply).enter(DBUS_TYPE_STRUCT);
    std::array<int, 4> sides = {};
    for (int& side : sides) {
        side = numbers.integer();
        if (side < -limit || side > limit)
            return {};
    }
    return {sides[0], sides[1], sides[2], sides[3]};
}

StateSet toStates(const DBus::Message& reply)
{
    return Values(reply).states();
}

AccessibleRef toRef(const DBus::Message& reply)
{
    return Values(reply).unwrapped().ref();
}

std::vector<AccessibleRef> toRefs(const DBus::Message& reply)
{
    std::vector<AccessibleRef> refs;
    for (Values array = Values(reply).enter(DBUS_TYPE_ARRAY); !array.atEnd();) {
        const AccessibleRef ref = array.ref();
        if (!ref.isNull())
            refs.push_back(ref);
    }
    return refs;
}

QHash<QString, QString> toAttributes(const DBus::Message& reply)
{
    QHash<QString, QString> attributes;
    for (Values array = Values(reply).enter(DBUS_TYPE_ARRAY); !array.atEnd();) {
        Values entry = array.enter(DBUS_TYPE_DICT_ENTRY);
        const QString key = entry.text();
        attributes.insert(key, entry.text());
    }
    return attributes;
}

std::vector<AccessibleRef> toLabels(const DBus::Message& reply)
{
    std::vector<AccessibleRef> labels;
    for (Values array = Values(reply).enter(DBUS_TYPE_ARRAY); !array.atEnd();) {
        Values relation = array.enter(DBUS_TYPE_STRUCT);
        const bool isLabel = relation.number() == labelledBy;
        for (Values targets = relation.enter(DBUS_TYPE_ARRAY); isLabel && !targets.atEnd();)
            labels.push_back(targets.ref());
    }
    return labels;
}

InterfaceSet toInterfaces(const DBus::Message& reply)
{
    return Values(reply).interfaces();
}

std::vector<CacheItem> toCacheItems(const DBus::Message& reply)
{
    std::vector<CacheItem> items;
    if (!reply.isReply() || reply.signature() != QLatin1String("a((so)(so)(so)iiassusau)"))
        return items;
    for (Values array = Values(reply).enter(DBUS_TYPE_ARRAY); !array.atEnd();) {
        Values entry = array.enter(DBUS_TYPE_STRUCT);
        CacheItem item;
        item.ref = entry.ref();
        entry.ref(); // the application
        item.parent = entry.ref();
        item.indexInParent = entry.integer();
        item.childCount = entry.integer();
        item.interfaces = entry.interfaces();
        item.name = entry.text();
        item.role = entry.integer();
        item.description = entry.text();
        item.states = entry.states();
        items.push_back(item);
    }
    return items;
}

} // namespace Zendra::Runner
