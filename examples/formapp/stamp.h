#pragma once

#include <QColor>
#include <QString>

class QMimeData;

/// A stamp for the postcard. An empty name means none.
struct Stamp {
    QString name;
    QColor colour;
};

/// The data of a dragged stamp: a text and a colour.
QMimeData* toMimeData(const Stamp& stamp);
Stamp toStamp(const QMimeData& data);
