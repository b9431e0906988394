#include "message.h"

#include <algorithm>

#include "wire.h"

namespace Zendra::DBus
{

namespace
{

constexpr int fixedSize = 16; ///< bytes of each message, with the length of the fields that follow
constexpr char protocolVersion = 1;
constexpr char noReplyExpected = 1;
constexpr unsigned int mostDescriptors = 16;

enum Field : char {
    Path = 1,
    Interface,
    Member,
    ErrorName,
    ReplySerial,
    Destination,
    Sender,
    Signature,
    UnixFds
};

int roundUp(qint64 size)
{
    constexpr int bodyAlignment = 8;
    return static_cast<int>((size + bodyAlignment - 1) / bodyAlignment * bodyAlignment);
}

void beginField(Writer& writer, Field field, const char* type)
{
    writer.align(8);
    writer.byte(field);
    writer.signature(QByteArray::fromRawData(type, 1));
}

void writeText(Writer& writer, Field field, const char* type, const QByteArray& text)
{
    if (text.isEmpty())
        return;
    beginField(writer, field, type);
    writer.text(text);
}

void writeNumber(Writer& writer, Field field, quint32 number)
{
    if (number == 0)
        return;
    beginField(writer, field, "u");
    writer.number(number);
}

/// The names are literals, which need no copy.
QByteArray constant(const char* text)
{
    return QByteArray::fromRawData(text, static_cast<int>(qstrlen(text)));
}

} // namespace

Message Message::make(Type type, const QVariantList& arguments)
{
    Message message;
    message.m_content = std::make_shared<Content>();
    Content& content = *message.m_content;
    content.type = type;
    Writer writer(content.bytes);
    for (const QVariant& argument : arguments) {
        content.signature += typeOf(argument);
        const bool isLastBytes
            = argument.userType() == QMetaType::QByteArray && &argument == &arguments.last();
        if (!isLastBytes) {
            writer.value(argument);
            continue;
        }
        // A segment of a recording: it goes out from where it is.
        content.tail = argument.toByteArray();
        writer.number(static_cast<quint32>(content.tail.size()));
    }
    content.descriptors = std::move(writer.descriptors);
    return message;
}

Message Message::call(
    const char* path, const char* interface, const char* member, const QVariantList& arguments)
{
    Message message = make(Type::Call, arguments);
    message.m_content->path = path;
    message.m_content->interface = constant(interface);
    message.m_content->member = constant(member);
    return message;
}

Message Message::signal(
    const char* path, const char* interface, const char* member, const QVariantList& arguments)
{
    Message message = call(path, interface, member, arguments);
    message.m_content->type = Type::Signal;
    return message;
}

Message Message::reply(const QVariantList& results) const
{
    Message message = make(Type::Reply, results);
    message.m_content->replySerial = serial();
    return message;
}

Message Message::error(const QString& name, const QString& text) const
{
    Message message = make(Type::Error, {text});
    message.m_content->replySerial = serial();
    message.m_content->errorName = name.toLatin1();
    return message;
}

QByteArray Message::makeHeader(unsigned int serial)
{
    m_content->serial = serial;
    constexpr int usualSize = 256;
    QByteArray bytes;
    bytes.reserve(usualSize);
    Writer writer(bytes);
    writer.byte(nativeOrder);
    writer.byte(static_cast<char>(m_content->type));
    writer.byte(m_content->forgoesReply ? noReplyExpected : '\0');
    writer.byte(protocolVersion);
    writer.number(static_cast<quint32>(m_content->bytes.size() + m_content->tail.size()));
    writer.number(static_cast<quint32>(serial));
    const int fields = writer.beginLength();
    writeText(writer, Path, "o", m_content->path);
    writeText(writer, Interface, "s", m_content->interface);
    writeText(writer, Member, "s", m_content->member);
    writeText(writer, ErrorName, "s", m_content->errorName);
    writeNumber(writer, ReplySerial, m_content->replySerial);
    writeNumber(writer, UnixFds, static_cast<quint32>(m_content->descriptors.size()));
    if (!m_content->signature.isEmpty()) {
        beginField(writer, Signature, "g");
        writer.signature(m_content->signature);
    }
    writer.endLength(fields, fields);
    writer.align(8);
    return bytes;
}

int Message::size(const QByteArray& bytes, int begin)
{
    if (bytes.size() - begin < fixedSize)
        return 0;
    const QByteArray fixed = bytes.mid(begin, fixedSize);
    if ((fixed[0] != 'l' && fixed[0] != 'B') || fixed[3] != protocolVersion)
        throw Malformed("this is no D-Bus message");
    Reader reader(fixed, 4, fixed[0], {});
    const auto body = reader.number<quint32>();
    reader.number<quint32>();
    const auto fields = reader.number<quint32>();
    if (fields > largestArray || body > largestMessage
        || qint64(fixedSize) + fields + body > largestMessage - 8)
        throw Malformed("the message is too long");
    return roundUp(fixedSize + qint64(fields)) + static_cast<int>(body);
}

Message Message::parse(const QByteArray& bytes, std::vector<FileDescriptor>& descriptors)
{
    Message message;
    message.m_content = std::make_shared<Content>();
    Content& content = *message.m_content;
    content.bytes = bytes;
    constexpr int lastType = static_cast<int>(Type::Signal);
    const auto type = static_cast<unsigned char>(bytes[1]);
    content.type = type > lastType ? Type::None : static_cast<Type>(type);
    content.forgoesReply = (bytes[2] & noReplyExpected) != 0;
    const char byteOrder = bytes[0];
    Reader reader(content.bytes, 8, byteOrder, {});
    content.serial = reader.number<quint32>();
    const auto end = static_cast<int>(reader.number<quint32>()) + fixedSize;
    quint32 ownDescriptors = 0;
    while (reader.position() < end) {
        reader.align(8);
        const char field = reader.byte();
        const QByteArray fieldType = reader.signature();
        const auto isOf = [&](Field which, const char* expected) {
            if (field == which && fieldType != expected)
                throw Malformed("a field of the header has another type");
            return field == which;
        };
        if (isOf(Path, "o"))
            content.path = reader.text();
        else if (isOf(Interface, "s"))
            content.interface = reader.text();
        else if (isOf(Member, "s"))
            content.member = reader.text();
        else if (isOf(ErrorName, "s"))
            content.errorName = reader.text();
        else if (isOf(ReplySerial, "u"))
            content.replySerial = reader.number<quint32>();
        else if (isOf(Signature, "g"))
            content.signature = reader.signature();
        else if (isOf(UnixFds, "u"))
            ownDescriptors = reader.number<quint32>();
        else
            reader.values(fieldType);
    }
    if (reader.position() != end || content.serial == 0)
        throw Malformed("the header does not end where it should");
    if (ownDescriptors > descriptors.size() || ownDescriptors > mostDescriptors)
        throw Malformed("file descriptors are missing");
    const auto last = descriptors.begin() + ownDescriptors;
    content.descriptors.assign(descriptors.begin(), last);
    descriptors.erase(descriptors.begin(), last);
    Reader body(content.bytes, roundUp(end), byteOrder, content.descriptors);
    content.arguments = body.values(content.signature);
    if (!body.isAtEnd())
        throw Malformed("the message is longer than its values");
    return message;
}

} // namespace Zendra::DBus
