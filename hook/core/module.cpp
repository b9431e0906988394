#include "module.h"

#include <dlfcn.h>

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace Zendra
{

namespace
{

/// What dlopen() says; for a library that is missing, with the Debian package that has it, which is named
/// after the library and its ABI number.
QString loadError(const QString& text)
{
    static const QRegularExpression missing(
        QStringLiteral("^(lib[^/:]+)\\.so\\.([0-9.]+): cannot open shared object file"));
    const QRegularExpressionMatch match = missing.match(text);
    if (!match.hasMatch())
        return text;
    const QString library = match.captured(1).toLower().replace(QLatin1Char('_'), QLatin1Char('-'));
    const QLatin1String dash(library.back().isDigit() ? "-" : "");
    return QStringLiteral("%1; install the Debian package %2, or what other systems call it")
        .arg(text, library + dash + match.captured(2));
}

} // namespace

QString moduleRoot()
{
    Dl_info info {};
    static const char anchor = 0;
    if (dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr)
        return QStringLiteral("zendra");
    const QFileInfo library(QFile::decodeName(info.dli_fname));
    return library.absolutePath() + QStringLiteral("/zendra");
}

ModuleFunction loadModuleFunction(
    const QString& kind, const QString& name, const QString& fileName, const char* functionName)
{
    if (!QFileInfo(fileName).isFile()) {
        return {nullptr,
            QStringLiteral("The %1 '%2' is missing: there is no file '%3'").arg(kind, name, fileName)};
    }
    // Never closed: objects of the module may outlive the handle.
    void* handle = dlopen(QFile::encodeName(fileName).constData(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) {
        return {nullptr,
            QStringLiteral("The %1 '%2' cannot be loaded: %3")
                .arg(kind, name, loadError(QString::fromLocal8Bit(dlerror())))};
    }
    void* symbol = dlsym(handle, functionName);
    if (symbol == nullptr) {
        return {nullptr,
            QStringLiteral("'%1' is not a %2: it lacks the entry function '%3'")
                .arg(fileName, kind, QLatin1String(functionName))};
    }
    return {reinterpret_cast<QFunctionPointer>(symbol), {}};
}

} // namespace Zendra
