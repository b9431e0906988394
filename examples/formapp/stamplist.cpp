#include "stamplist.h"

#include <QPixmap>
#include <QScrollBar>

namespace
{

constexpr int stampHeight = 24;

struct Print {
    const char* name;
    QRgb colour;
};

constexpr Print prints[] = {
    {"Anemone", 0xff7f5fa8},
    {"Beech", 0xff5c8a3a},
    {"Cornflower", 0xff4a69bd},
    {"Daisy", 0xfff0d9a0},
    {"Elder", 0xff3b3b58},
    {"Foxglove", 0xffc0629a},
    {"Gorse", 0xffe1b12c},
    {"Heather", 0xff9b6b9e},
    {"Iris", 0xff5758bb},
    {"Juniper", 0xff2d6a6a},
    {"Kale", 0xff44803f},
    {"Larch", 0xff9fb65a},
    {"Mallow", 0xffcf7fb0},
    {"Nettle", 0xff3f7d4e},
    {"Oak", 0xff8a6a3a},
    {"Poppy", 0xffc0392b},
    {"Quince", 0xffd8c04a},
    {"Rowan", 0xffcc5a2a},
    {"Sorrel", 0xff8f4a3a},
    {"Thyme", 0xff7a9a7a},
};

} // namespace

StampList::StampList(QWidget* parent)
    : QListWidget(parent)
{
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalScrollBar()->setSingleStep(stampHeight / 3);
    setDragDropMode(QAbstractItemView::DragOnly);
    setDefaultDropAction(Qt::MoveAction);
    for (const Print& print : prints) {
        const QColor colour(print.colour);
        QPixmap swatch(stampHeight - 8, stampHeight - 8);
        swatch.fill(colour);
        auto* item = new QListWidgetItem(swatch, QLatin1String(print.name), this);
        item->setSizeHint(QSize(0, stampHeight));
        item->setData(Qt::UserRole, colour);
    }
}

Stamp StampList::stampOf(const QListWidgetItem* item)
{
    if (item == nullptr)
        return {};
    return {item->text(), item->data(Qt::UserRole).value<QColor>()};
}

QMimeData* StampList::mimeData(const QList<QListWidgetItem*> items) const
{
    return toMimeData(stampOf(items.value(0)));
}
