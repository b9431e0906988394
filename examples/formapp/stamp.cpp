#include "stamp.h"

#include <QMimeData>

QMimeData* toMimeData(const Stamp& stamp)
{
    auto* data = new QMimeData;
    data->setText(stamp.name);
    data->setColorData(stamp.colour);
    return data;
}

Stamp toStamp(const QMimeData& data)
{
    if (!data.hasText() || !data.hasColor())
        return {};
    return {data.text(), data.colorData().value<QColor>()};
}
