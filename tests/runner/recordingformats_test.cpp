// Recordings: valid and hostile streams, and the files that are written from
// them.

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

#include <QFile>
#include <QImageReader>
#include <QTemporaryDir>
#include <QtEndian>

#include "cli/failure.h"
#include "recording/framesink.h"
#include "recording/h264stream.h"
#include "recording/rledecoder.h"

namespace Zendra::Runner
{

namespace
{

QByteArray bytes(std::initializer_list<quint32> words)
{
    QByteArray bytes;
    for (const quint32 word : words) {
        const quint32 wire = qToBigEndian(word);
        bytes.append(reinterpret_cast<const char*>(&wire), sizeof wire);
    }
    return bytes;
}

/// What a stream is refused with; empty when it is not.
template <typename Action>
QString refusal(Action action)
{
    try {
        action();
        return {};
    } catch (const Failure& failure) {
        return failure.text();
    }
}

QString rleRefusal(const QByteArray& stream)
{
    return refusal([&stream] {
        RleDecoder decoder([](const RleUpdate&) {});
        decoder.decode(stream);
        decoder.requireEnd();
    });
}

TEST(RleDecoder, SaysWhereAStreamIsWrong)
{
    const QByteArray bounds = bytes({1, 0, 0, 4, 3, 65536, 65536});
    const QByteArray update = bytes({2, 0, 1, 40, 0, 0, 4, 3});
    constexpr quint32 all = 0xffffffff;
    struct Case {
        QByteArray stream;
        const char* text;
    };
    for (const Case& wrong : {Case {bytes({3}), "at byte 0: there is no message of type 3"},
             {bytes({2, 0, 0, 1}), "at byte 0: an update comes before"},
             {bytes({1, 0, 0, 0, 0, 0, 0}), "cannot be on a screen"},
             {bytes({1, 0, 0, all, 3, 0, 0}), "from 0,0 to -1,3 cannot"},
             {bytes({1, 0x80000000, 0, 0x7fffffff, 1, 0, 0}), "cannot be on a screen"},
             {bytes({1, 0, 0, 32767, 32767, 0, 0}), "cannot be on a screen"},
             {bounds + bytes({2, 1, 0, 40}), "moves 1 rectangles"},
             {bounds + bytes({2, 0, all, 40}), "at byte 40: 4294967295 rectangles"},
             {bounds + bytes({2, 0, 1, 40, 0, 0, 5, 3}), "from 0,0 to 5,3 cannot"},
             {bounds + bytes({2, 0, 1, 40, 2, 2, 2, 3}), "cannot be on a screen"},
             {bounds + update + bytes({0}), "at byte 60: a run of 0 pixels"},
             {bounds + update + bytes({13}), "a run of 13 pixels does not fit the 12"},
             {bounds + update + bytes({0x0b123456, 0x02123456}), "at byte 64: a run of 2"},
             {bounds + update + bytes({11}), "at byte 64: it ends in the middle"},
             {bounds + "x", "at byte 28: it ends in the middle"}})
        EXPECT_TRUE(rleRefusal(wrong.stream).contains(QLatin1String(wrong.text)))
            << wrong.text << " / " << rleRefusal(wrong.stream).toStdString();
    EXPECT_EQ(rleRefusal(bounds + bytes({2, 0, 0, 1000}) + update + bytes({0x0c123456})), QString());
}

TEST(H264Stream, IsParsedInPiecesOfAnySize)
{
    const QByteArray start = bytes({0, 0, 20, 0, 0, 0, 640, 480});
    const QByteArray stream
        = start + bytes({1, 2, 4, 0x01020304}) + bytes({1, 0, 3}) + "abc" + bytes({2, 3, 0});
    for (int size = 1; size <= stream.size(); ++size) {
        QString story;
        H264Stream parser({[&story](const QSize& frame) { story += QString::number(frame.width()); },
            [&story](const QByteArray& unit, bool isKeyFrame) {
                story += QStringLiteral(" %1%2").arg(unit.size()).arg(QLatin1String(isKeyFrame ? "k" : ""));
            }});
        for (int offset = 0; offset < stream.size(); offset += size)
            parser.parse(stream.mid(offset, size));
        EXPECT_EQ(story, QStringLiteral("640 4k 3"));
    }
    const auto text = [](const QByteArray& wrong) {
        return refusal([&wrong] {
            H264Stream({[](const QSize&) {}, [](const QByteArray&, bool) {}}).parse(wrong);
        }).toStdString();
    };
    const char* damaged = "The recording is damaged at byte ";
    for (const QByteArray& wrong :
        {bytes({3, 0, 0}), bytes({1, 2, 4}), bytes({2, 0, 0}), bytes({0, 0, 0xffffffff}),
            bytes({0, 0, 20, 0, 0, 0, 0, 480}), bytes({0, 0, 20, 0, 0, 0, 640, 0x80000000})})
        EXPECT_EQ(text(wrong).rfind(damaged + std::string("0: "), 0), 0U) << text(wrong);
    for (const QByteArray& wrong :
        {start, bytes({1, 0, 4, 0}), bytes({1, 2, 0xffffffff}), bytes({1, 1, 4, 0}), bytes({1, 2, 0})})
        EXPECT_EQ(text(start + wrong).rfind(damaged + std::string("32: "), 0), 0U) << text(start + wrong);
    EXPECT_EQ(text(stream + "xxxxxxxxxxxx").rfind(damaged + std::string("75: "), 0), 0U);
}

TEST(FrameSinks, FitPicturesOfAnotherSize)
{
    QImage frame(100, 50, QImage::Format_RGB32);
    frame.fill(Qt::red);
    const QImage larger = fitted(frame, {120, 60});
    EXPECT_EQ(larger.pixel(10, 5), qRgb(255, 0, 0));
    EXPECT_EQ(larger.pixel(9, 5), qRgb(0, 0, 0));
    const QImage smaller = fitted(frame, {50, 50});
    EXPECT_EQ(smaller.pixel(25, 13), qRgb(255, 0, 0));
    EXPECT_EQ(smaller.pixel(25, 11), qRgb(0, 0, 0));
    EXPECT_EQ(smaller.pixel(25, 38), qRgb(0, 0, 0));
}

TEST(FrameSinks, AGifShowsEverythingForItsTime)
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("a.gif"));
    QImage frame(300, 200, QImage::Format_RGB32);
    for (int i = 0; i < 300 * 200; ++i)
        frame.setPixel(i % 300, i / 300, qRgb(i % 300 * 255 / 300, i / 300, (i % 300 + i / 300) / 2));
    const auto sink = makeFrameSink(name);
    sink->show(frame, frame.rect(), 0);
    for (int number = 1; number <= 50; ++number) {
        frame.setPixel(number, 7, qRgb(0, number, 255));
        sink->show(frame, QRect(number, 7, 1, 1), qint64 {33} * number);
    }
    sink->finish(700'000);
    QImageReader reader(name);
    QImage shown;
    int time = 0;
    int pictures = 0;
    for (QImage next; reader.read(&next); ++pictures) {
        shown = next.convertToFormat(QImage::Format_RGB32);
        time += reader.nextImageDelay();
    }
    EXPECT_EQ(time, 700'000);
    EXPECT_LT(pictures, 20);
    double error = 0;
    for (int i = 0; i < frame.sizeInBytes(); ++i)
        error += std::pow(frame.constBits()[i] - shown.constBits()[i], 2);
    EXPECT_GT(10 * std::log10(255.0 * 255.0 * frame.sizeInBytes() / error), 33);
    EXPECT_EQ(shown.pixel(50, 7), qRgb(0, 50, 255));
}

} // namespace

} // namespace Zendra::Runner
