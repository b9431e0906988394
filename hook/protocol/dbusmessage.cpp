#include "dbusmessage.h"

#include <exception>
#include <new>
#include <stdexcept>

namespace Zendra::DBus
{

namespace
{

// libdbus aborts the process when it is called with wrong arguments, so nothing may be appended unchecked.

void require(dbus_bool_t hasMemory)
{
    if (hasMemory == 0)
        throw std::bad_alloc();
}

/// A container that is being appended.
class Container
{
public:
    Container(DBusMessageIter& parent, int type, const char* contents)
        : m_parent(parent)
    {
        require(dbus_message_iter_open_container(&m_parent, type, contents, &m_iter));
    }
    ~Container()
    {
        if (std::uncaught_exceptions() > m_exceptions)
            dbus_message_iter_abandon_container(&m_parent, &m_iter);
        else
            dbus_message_iter_close_container(&m_parent, &m_iter);
    }
    DBusMessageIter& iter() { return m_iter; }

private:
    Q_DISABLE_COPY(Container)

    DBusMessageIter& m_parent;
    DBusMessageIter m_iter {};
    const int m_exceptions = std::uncaught_exceptions();
};

template <typename Value>
void appendBasic(DBusMessageIter& iter, int type, Value value)
{
    require(dbus_message_iter_append_basic(&iter, type, &value));
}

/// Ends at the first null character. QString::toUtf8() replaces unpaired surrogates.
void appendText(DBusMessageIter& iter, int type, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    appendBasic(iter, type, utf8.constData());
}

const char* typeOf(const QVariant& value)
{
    const int type = value.userType();
    switch (type) {
    case QMetaType::Bool:
        return "b";
    case QMetaType::Int:
        return "i";
    case QMetaType::UInt:
        return "u";
    case QMetaType::Double:
        return "d";
    case QMetaType::QString:
        return "s";
    case QMetaType::QByteArray:
        return "ay";
    case QMetaType::QStringList:
        return "as";
    case QMetaType::QVariantMap:
        return "a{sv}";
    default:
        break;
    }
    if (type == qMetaTypeId<ObjectPath>())
        return "o";
    if (type == qMetaTypeId<UnixFd>())
        return "h";
    if (type == qMetaTypeId<Variant>())
        return "v";
    throw std::invalid_argument("A value of this type cannot be sent");
}

void append(DBusMessageIter& iter, const QVariant& value);

void appendVariant(DBusMessageIter& iter, const QVariant& value)
{
    Container variant(iter, DBUS_TYPE_VARIANT, typeOf(value));
    append(variant.iter(), value);
}

void appendArray(DBusMessageIter& iter, const QVariant& value, const char* contents)
{
    Container array(iter, DBUS_TYPE_ARRAY, contents);
    if (value.userType() == QMetaType::QByteArray) {
        const QByteArray bytes = value.toByteArray();
        if (bytes.size() > DBUS_MAXIMUM_ARRAY_LENGTH)
            throw std::length_error("An array is too long for D-Bus");
        const char* data = bytes.constData();
        require(dbus_message_iter_append_fixed_array(&array.iter(), DBUS_TYPE_BYTE, &data, bytes.size()));
    } else if (value.userType() == QMetaType::QStringList) {
        for (const QString& text : value.toStringList())
            appendText(array.iter(), DBUS_TYPE_STRING, text);
    } else {
        const QVariantMap map = value.toMap();
        for (auto entry = map.begin(); entry != map.end(); ++entry) {
            Container pair(array.iter(), DBUS_TYPE_DICT_ENTRY, nullptr);
            appendText(pair.iter(), DBUS_TYPE_STRING, entry.key());
            appendVariant(pair.iter(), entry.value());
        }
    }
}

void append(DBusMessageIter& iter, const QVariant& value)
{
    const char* type = typeOf(value);
    switch (*type) {
    case DBUS_TYPE_BOOLEAN:
        return appendBasic<dbus_bool_t>(iter, *type, value.toBool() ? 1 : 0);
    case DBUS_TYPE_INT32:
        return appendBasic<dbus_int32_t>(iter, *type, value.toInt());
    case DBUS_TYPE_UINT32:
        return appendBasic<dbus_uint32_t>(iter, *type, value.toUInt());
    case DBUS_TYPE_DOUBLE:
        return appendBasic<double>(iter, *type, value.toDouble());
    case DBUS_TYPE_OBJECT_PATH:
        return appendText(iter, *type, value.value<ObjectPath>().path);
    case DBUS_TYPE_UNIX_FD:
        return appendBasic<int>(iter, *type, value.value<UnixFd>().number());
    case DBUS_TYPE_VARIANT:
        return appendVariant(iter, value.value<Variant>().value);
    case DBUS_TYPE_ARRAY:
        return appendArray(iter, value, type + 1);
    default:
        return appendText(iter, *type, value.toString());
    }
}

template <typename Value>
Value basic(DBusMessageIter& iter)
{
    Value value {};
    dbus_message_iter_get_basic(&iter, &value);
    return value;
}

QVariant read(DBusMessageIter& iter);

DBusMessageIter contents(DBusMessageIter& iter)
{
    DBusMessageIter inner;
    dbus_message_iter_recurse(&iter, &inner);
    return inner;
}

QVariant readMap(DBusMessageIter entries)
{
    QVariantMap map;
    for (; dbus_message_iter_get_arg_type(&entries) != DBUS_TYPE_INVALID; dbus_message_iter_next(&entries)) {
        DBusMessageIter entry = contents(entries);
        const QString key = QString::fromUtf8(basic<const char*>(entry));
        dbus_message_iter_next(&entry);
        DBusMessageIter value = contents(entry);
        // No nested containers: their depth is up to the peer.
        map.insert(
            key, dbus_type_is_basic(dbus_message_iter_get_arg_type(&value)) != 0 ? read(value) : QVariant());
    }
    return map;
}

QVariant readArray(DBusMessageIter& iter)
{
    const std::unique_ptr<char, decltype(&dbus_free)> signature(
        dbus_message_iter_get_signature(&iter), &dbus_free);
    const QLatin1String type(signature.get());
    DBusMessageIter array = contents(iter);
    if (type == QLatin1String("ay")) {
        const char* bytes = nullptr;
        int count = 0;
        dbus_message_iter_get_fixed_array(&array, &bytes, &count);
        return QByteArray(bytes, count);
    }
    if (type == QLatin1String("as")) {
        QStringList texts;
        for (; dbus_message_iter_get_arg_type(&array) != DBUS_TYPE_INVALID; dbus_message_iter_next(&array))
            texts.append(QString::fromUtf8(basic<const char*>(array)));
        return texts;
    }
    return type == QLatin1String("a{sv}") ? readMap(array) : QVariant();
}

QVariant read(DBusMessageIter& iter)
{
    switch (dbus_message_iter_get_arg_type(&iter)) {
    case DBUS_TYPE_BOOLEAN:
        return basic<dbus_bool_t>(iter) != 0;
    case DBUS_TYPE_BYTE:
        return static_cast<uint>(basic<unsigned char>(iter));
    case DBUS_TYPE_INT16:
        return static_cast<int>(basic<dbus_int16_t>(iter));
    case DBUS_TYPE_UINT16:
        return static_cast<uint>(basic<dbus_uint16_t>(iter));
    case DBUS_TYPE_INT32:
        return basic<dbus_int32_t>(iter);
    case DBUS_TYPE_UINT32:
        return basic<dbus_uint32_t>(iter);
    case DBUS_TYPE_INT64:
        return static_cast<qlonglong>(basic<dbus_int64_t>(iter));
    case DBUS_TYPE_UINT64:
        return static_cast<qulonglong>(basic<dbus_uint64_t>(iter));
    case DBUS_TYPE_DOUBLE:
        return basic<double>(iter);
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_SIGNATURE:
        return QString::fromUtf8(basic<const char*>(iter));
    case DBUS_TYPE_OBJECT_PATH:
        return QVariant::fromValue(ObjectPath {QString::fromUtf8(basic<const char*>(iter))});
    case DBUS_TYPE_UNIX_FD:
        return QVariant::fromValue(UnixFd(basic<int>(iter)));
    case DBUS_TYPE_ARRAY:
        return readArray(iter);
    default:
        return {};
    }
}

} // namespace

Message::Message(DBusMessage* message)
    : m_message(message, [](DBusMessage* owned) {
        if (owned != nullptr)
            dbus_message_unref(owned);
    })
{
    require(message != nullptr ? 1 : 0);
}

Message Message::call(
    const char* path, const char* interface, const char* member, const QVariantList& arguments)
{
    return Message(dbus_message_new_method_call(nullptr, path, interface, member)).with(arguments);
}

Message Message::signal(
    const char* path, const char* interface, const char* member, const QVariantList& arguments)
{
    return Message(dbus_message_new_signal(path, interface, member)).with(arguments);
}

Message Message::to(const char* name) const
{
    if (dbus_validate_bus_name(name, nullptr) == 0)
        throw std::invalid_argument("Not a name on a bus");
    require(dbus_message_set_destination(get(), name));
    return *this;
}

Message Message::reply(const QVariantList& results) const
{
    return Message(dbus_message_new_method_return(get())).with(results);
}

Message Message::error(const char* name, const QString& text) const
{
    return Message(dbus_message_new_error(get(), name, text.toUtf8().constData()));
}

Message Message::with(const QVariantList& arguments) const
{
    DBusMessageIter iter;
    dbus_message_iter_init_append(get(), &iter);
    for (const QVariant& argument : arguments)
        append(iter, argument);
    return *this;
}

QVariantList Message::arguments() const
{
    QVariantList values;
    DBusMessageIter iter;
    if (dbus_message_iter_init(get(), &iter) == 0)
        return values;
    do
        values.append(read(iter));
    while (dbus_message_iter_next(&iter) != 0);
    return values;
}

QString Message::errorText() const
{
    const char* text = nullptr;
    DBusMessageIter iter;
    if (dbus_message_iter_init(get(), &iter) != 0
        && dbus_message_iter_get_arg_type(&iter) == DBUS_TYPE_STRING)
        text = basic<const char*>(iter);
    return QString::fromUtf8(text);
}

} // namespace Zendra::DBus
