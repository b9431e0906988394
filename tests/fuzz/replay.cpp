// Runs a fuzz target once with each file of a folder, so that no compiler with libFuzzer is needed.

#include <cstdio>

#include <QDir>

#include "fuzz.h"

int main(int argc, char** argv)
{
    const QDir folder(QString::fromLocal8Bit(argc > 1 ? argv[1] : ""));
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString& name : names) {
        std::printf("%s\n", qPrintable(name));
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        const QByteArray bytes = file.readAll();
        LLVMFuzzerTestOneInput(
            reinterpret_cast<const uint8_t*>(bytes.constData()), static_cast<size_t>(bytes.size()));
    }
    return names.isEmpty() ? 1 : 0;
}
