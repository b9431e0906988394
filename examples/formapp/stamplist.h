#pragma once

#include <QListWidget>

#include "stamp.h"

/// A sheet of stamps to choose one from, or to drag some off: a move takes the stamp away, a copy leaves it.
class StampList : public QListWidget
{
    Q_OBJECT

public:
    explicit StampList(QWidget* parent = nullptr);

    /// No stamp for a null item.
    static Stamp stampOf(const QListWidgetItem* item);

protected:
    QMimeData* mimeData(const QList<QListWidgetItem*> items) const override;

private:
    Q_DISABLE_COPY(StampList)
};
