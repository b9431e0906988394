#include <QApplication>
#include <QTableWidget>

/// A table of 10,000 cells, which shows the first few hundred.
int main(int argc, char** argv)
{
    constexpr int rows = 1000;
    constexpr int columns = 10;
    const QApplication application(argc, argv);
    QTableWidget table(rows, columns);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column)
            table.setItem(row, column, new QTableWidgetItem(QStringLiteral("%1 in %2").arg(row).arg(column)));
    }
    table.setWindowTitle(QStringLiteral("Table"));
    table.resize(800, 600);
    table.show();
    return QApplication::exec();
}
