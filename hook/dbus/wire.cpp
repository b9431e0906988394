#include "wire.h"

#include <cstring>
#include <utility>

#include <QtEndian>

#include "message.h"

namespace Zendra::DBus
{

namespace
{

constexpr int deepest = 32; ///< of values within values
/// A list takes many times the memory that it takes on the wire.
constexpr int mostValues = 10'000;

/// To what a value of the type is aligned.
int alignment(char type)
{
    switch (type) {
    case 'y':
    case 'g':
    case 'v':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'x':
    case 't':
    case 'd':
    case '(':
    case '{':
        return 8;
    default:
        return 4;
    }
}

/// Moves over one complete type.
void skipType(const char*& type, int depth)
{
    if (depth > deepest)
        throw Malformed("the types are nested too deeply");
    const char first = *type++;
    if (first == 'a')
        return skipType(type, depth + 1);
    if (first != '(' && first != '{') {
        if (first == '\0' || std::strchr("ybnqiuxtdsoghv", first) == nullptr)
            throw Malformed("there is no such type");
        return;
    }
    const char last = first == '(' ? ')' : '}';
    do {
        skipType(type, depth + 1);
    } while (*type != last);
    ++type;
}

} // namespace

QByteArray typeOf(const QVariant& value)
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
    if (type == qMetaTypeId<FileDescriptor>())
        return "h";
    if (type == qMetaTypeId<Variant>())
        return "v";
    throw std::invalid_argument(std::string("D-Bus has no place for a ") + value.typeName());
}

void Writer::align(int size)
{
    while (m_bytes.size() % size != 0)
        m_bytes.append('\0');
}

void Writer::text(QByteArray utf8)
{
    const int end = utf8.indexOf('\0');
    if (end >= 0)
        utf8.truncate(end);
    number(static_cast<quint32>(utf8.size()));
    m_bytes.append(utf8).append('\0');
}

void Writer::signature(const QByteArray& types)
{
    byte(static_cast<char>(types.size()));
    m_bytes.append(types).append('\0');
}

int Writer::beginLength()
{
    number(quint32(0));
    return m_bytes.size();
}

void Writer::endLength(int place, int begin)
{
    const auto length = static_cast<quint32>(m_bytes.size() - begin);
    std::memcpy(m_bytes.data() + place - sizeof length, &length, sizeof length);
}

void Writer::variant(const QVariant& inner)
{
    signature(typeOf(inner));
    value(inner);
}

void Writer::map(const QVariantMap& map)
{
    const int place = beginLength();
    align(8);
    const int begin = size();
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        align(8);
        text(entry.key().toUtf8());
        variant(entry.value());
    }
    endLength(place, begin);
}

void Writer::value(const QVariant& value)
{
    const QByteArray type = typeOf(value);
    switch (type[0]) {
    case 'b':
        return number(quint32(value.toBool()));
    case 'i':
        return number(value.toInt());
    case 'u':
        return number(value.toUInt());
    case 'd':
        return number(value.toDouble());
    case 's':
        return text(value.toString().toUtf8());
    case 'o':
        return text(value.value<ObjectPath>().path.toUtf8());
    case 'v':
        return variant(value.value<Variant>().value);
    case 'h':
        descriptors.push_back(value.value<FileDescriptor>());
        return number(static_cast<quint32>(descriptors.size() - 1));
    default:
        break; // arrays
    }
    if (type == "a{sv}")
        return map(value.toMap());
    const int place = beginLength();
    if (type == "ay")
        m_bytes.append(value.toByteArray());
    for (const QString& element : type == "as" ? value.toStringList() : QStringList())
        text(element.toUtf8());
    endLength(place, place);
}

Reader::Reader(const QByteArray& bytes, int position, char byteOrder, std::vector<FileDescriptor> descriptors)
    : m_bytes(bytes)
    , m_position(position)
    , m_swaps(byteOrder != nativeOrder)
    , m_descriptors(std::move(descriptors))
{
}

const char* Reader::take(quint32 size)
{
    if (size > static_cast<quint32>(m_bytes.size() - m_position))
        throw Malformed("the message ends too early");
    const char* taken = m_bytes.constData() + m_position;
    m_position += static_cast<int>(size);
    return taken;
}

void Reader::align(int size)
{
    take(static_cast<quint32>((size - m_position % size) % size));
}

template <typename Number>
Number Reader::number()
{
    align(sizeof(Number));
    Number value {};
    std::memcpy(&value, take(sizeof value), sizeof value);
    return m_swaps ? qbswap(value) : value;
}

template quint32 Reader::number<quint32>();

/// A text of so many bytes with its null character.
QByteArray Reader::string(quint32 length)
{
    const char* bytes = take(length);
    if (*take(1) != '\0')
        throw Malformed("a text does not end where it should");
    return QByteArray::fromRawData(bytes, static_cast<int>(length));
}

QByteArray Reader::text()
{
    return string(number<quint32>());
}

QByteArray Reader::signature()
{
    return string(static_cast<unsigned char>(*take(1)));
}

QVariantList Reader::values(const QByteArray& types)
{
    QVariantList result;
    for (const char* type = types.constData(); *type != '\0';)
        result.append(value(type, 0));
    return result;
}

QVariantList Reader::structure(const char*& type, int depth)
{
    const char last = *type++ == '(' ? ')' : '}';
    QVariantList members;
    align(8);
    do {
        members.append(value(type, depth + 1));
    } while (*type != last);
    ++type;
    return members;
}

/// The type stands behind its "a".
QVariant Reader::array(const char*& type, int depth)
{
    const auto size = number<quint32>();
    if (size > largestArray)
        throw Malformed("an array is too long");
    const char* const element = type;
    skipType(type, depth);
    align(alignment(*element));
    if (*element == 'y')
        return QByteArray(take(size), static_cast<int>(size));
    const int begin = m_position;
    take(size);
    const int end = std::exchange(m_position, begin);
    QVariantList list;
    QVariantMap map;
    const bool isMap = std::strncmp(element, "{s", 2) == 0;
    while (m_position < end) {
        const char* at = element;
        if (isMap) {
            const QVariantList pair = structure(at, depth + 1);
            if (pair.size() != 2)
                throw Malformed("an entry of a dictionary has a key and a value");
            const QVariant& entry = pair.at(1);
            map.insert(pair.at(0).toString(),
                entry.userType() == qMetaTypeId<Variant>() ? entry.value<Variant>().value : entry);
        } else {
            list.append(value(at, depth + 1));
        }
    }
    if (m_position != end)
        throw Malformed("an array does not end where it should");
    if (isMap)
        return map;
    return *element == 's' ? QVariant(QVariant(list).toStringList()) : QVariant(list);
}

QVariant Reader::value(const char*& type, int depth)
{
    if (depth > deepest || ++m_count > mostValues)
        throw Malformed("there are too many values");
    if (*type == '(' || *type == '{')
        return structure(type, depth);
    switch (*type++) {
    case 'y':
        return static_cast<uint>(static_cast<unsigned char>(*take(1)));
    case 'b':
        return number<quint32>() != 0;
    case 'n':
        return static_cast<int>(number<qint16>());
    case 'q':
        return static_cast<uint>(number<quint16>());
    case 'i':
        return number<qint32>();
    case 'u':
        return number<quint32>();
    case 'x':
        return number<qlonglong>();
    case 't':
        return number<qulonglong>();
    case 'd': {
        const auto bits = number<quint64>();
        double result = 0.0;
        std::memcpy(&result, &bits, sizeof result);
        return result;
    }
    case 's':
        return QString::fromUtf8(text());
    case 'g':
        return QString::fromUtf8(signature());
    case 'o':
        return QVariant::fromValue(ObjectPath {QString::fromUtf8(text())});
    case 'h': {
        const auto index = number<quint32>();
        if (index >= m_descriptors.size())
            throw Malformed("a file descriptor is missing");
        return QVariant::fromValue(m_descriptors[index]);
    }
    case 'v': {
        const QByteArray inner = signature();
        const char* at = inner.constData();
        QVariant content = value(at, depth + 1);
        if (*at != '\0')
            throw Malformed("a variant has one value");
        return QVariant::fromValue(Variant {std::move(content)});
    }
    case 'a':
        return array(type, depth + 1);
    default:
        throw Malformed("there is no such type");
    }
}

} // namespace Zendra::DBus
