#pragma once

#include <QColor>
#include <QString>

class QMimeData;

/// What the postcard can be franked with. One without a name is none.
struct Stamp {
    QString name;
    QColor colour;
};

/// A stamp as drag and drop carries it: a text and a colour.
QMimeData* toMimeData(const Stamp& stamp);
Stamp toStamp(const QMimeData& data);
