#pragma once

#include <filesystem>

#include <gtest/gtest.h>

#include <QDir>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "wait.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

/// A server, and a folder for recordings.
class RecordingTest : public testing::Test
{
protected:
    explicit RecordingTest(const XServer::Options& options = {})
        : m_server(options)
    {
    }

    std::string path(const char* name) const { return m_folder.filePath(QLatin1String(name)).toStdString(); }

    /// Waits until a recording writes into its file.
    bool grows(const char* name) const
    {
        return waitFor([&] {
            return std::filesystem::exists(path(name)) && std::filesystem::file_size(path(name)) > 0;
        });
    }

    /// The last picture of a .zrle file, which may still be written.
    QImage lastPicture(const char* name) const
    {
        QDir pictures(m_folder.filePath(QStringLiteral("pictures")));
        pictures.removeRecursively();
        std::filesystem::copy_file(
            path(name), path("copy.zrle"), std::filesystem::copy_options::overwrite_existing);
        expectDone(zendra({"convert", path("copy.zrle"), path("pictures/")}));
        const QStringList names = pictures.entryList(QDir::Files, QDir::Name);
        EXPECT_FALSE(names.isEmpty());
        return QImage(pictures.filePath(names.value(names.size() - 1))).convertToFormat(QImage::Format_RGB32);
    }

    QImage screenshot() const
    {
        expectDone(zendra(m_server, {"screenshot", path("screen.png")}));
        return QImage(m_folder.filePath(QStringLiteral("screen.png"))).convertToFormat(QImage::Format_RGB32);
    }

    /// The length of a recording whose result is JSON.
    static double seconds(const Outcome& outcome)
    {
        EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.error;
        const auto result = QJsonDocument::fromJson(QByteArray::fromStdString(outcome.output)).object();
        EXPECT_GT(result.value(QLatin1String("frames")).toInt(), 0);
        return result.value(QLatin1String("seconds")).toDouble();
    }

    const QTemporaryDir m_folder;
    const XServer m_server;
    const Connection m_connection {m_server};
};

} // namespace Zendra::Tests
