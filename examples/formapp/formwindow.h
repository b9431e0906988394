#pragma once

#include <QMainWindow>

class Canvas;
class EventLog;
class QLineEdit;
class QListWidgetItem;
class QPlainTextEdit;
class QPushButton;
class StampList;

/// A postcard form: recipient, message, stamp, drawing, and a button that posts it.
class FormWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Writes the screen areas of the named widgets to `widgetsFile`, unless it is empty, whenever they
    /// change.
    FormWindow(EventLog& log, const QString& widgetsFile);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    Q_DISABLE_COPY(FormWindow)

    void createMenus();
    void createTexts(QWidget* page);
    void createStamps(QWidget* page);
    void createPostButton(QWidget* page);
    void startNewCard();
    void post();
    void chooseStamp(const QListWidgetItem* item);
    void placeCanvas();
    void writeWidgetsFile() const;

    EventLog& m_log;
    QString m_widgetsFile;
    QLineEdit* m_name = nullptr;
    QPlainTextEdit* m_message = nullptr;
    StampList* m_stamps = nullptr;
    QPushButton* m_post = nullptr;
    Canvas* m_canvas = nullptr;
    int m_posted = 0;
};
