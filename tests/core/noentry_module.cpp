// A shared object that loads well but is no platform plug-in.

#include <QtCore/qglobal.h>

extern "C" Q_DECL_EXPORT int somethingElse()
{
    return 0;
}
