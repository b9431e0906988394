#pragma once

#include <QListWidget>

#include "stamp.h"

/// A list of stamps to select or drag. A move removes the stamp, a copy keeps it.
class StampList : public QListWidget
{
    Q_OBJECT

public:
    explicit StampList(QWidget* parent = nullptr);

    /// An empty stamp for a null item.
    static Stamp stampOf(const QListWidgetItem* item);

protected:
    QMimeData* mimeData(const QList<QListWidgetItem*> items) const override;

private:
    Q_DISABLE_COPY(StampList)
};
