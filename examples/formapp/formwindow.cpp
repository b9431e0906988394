#include "formwindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>

#include "canvas.h"
#include "eventlog.h"
#include "stamplist.h"

namespace
{

constexpr int margin = 16;
constexpr int menuHeight = 28;

// Deliberate: fixed positions instead of a layout, so that scripts with coordinates work with any font and
// style.
constexpr QRect namePlace(margin, 16, 240, 30);
constexpr QRect messagePlace(margin, 58, 240, 120);
constexpr QRect stampsPlace(margin, 190, 240, 100);
constexpr QRect postPlace(margin, 302, 240, 36);
constexpr int canvasLeft = 272;

QJsonObject toJson(const QRect& rect)
{
    return {{QStringLiteral("x"), rect.x()}, {QStringLiteral("y"), rect.y()},
        {QStringLiteral("width"), rect.width()}, {QStringLiteral("height"), rect.height()}};
}

QRect placeOnScreen(const QWidget& widget)
{
    return {widget.mapToGlobal(QPoint(0, 0)), widget.size()};
}

} // namespace

FormWindow::FormWindow(EventLog& log, const QString& widgetsFile)
    : m_log(log)
    , m_widgetsFile(widgetsFile)
{
    setObjectName(QStringLiteral("window"));
    setWindowTitle(tr("Postcard"));
    setMinimumSize(480, 400);
    auto* page = new QWidget;
    createMenus();
    createTexts(page);
    createStamps(page);
    createPostButton(page);
    m_canvas = new Canvas(m_log, page);
    m_canvas->setObjectName(QStringLiteral("canvas"));
    setCentralWidget(page);
    m_name->setFocus();
    QWidget* const focusable[] = {m_name, m_message, m_stamps, m_post};
    for (QWidget* widget : focusable)
        widget->installEventFilter(this);
}

void FormWindow::createMenus()
{
    const auto add = [this](QMenu* menu, const QString& text, const QString& keys, auto slot) {
        QAction* action = menu->addAction(text);
        action->setShortcut(QKeySequence(keys));
        connect(action, &QAction::triggered, this, [this, action, slot] {
            m_log.write(objectName(), QStringLiteral("action"), action->text().remove(QLatin1Char('&')));
            slot();
        });
    };
    menuBar()->setFixedHeight(menuHeight);
    QMenu* card = menuBar()->addMenu(tr("&Card"));
    add(card, tr("&New"), QStringLiteral("Ctrl+N"), [this] { startNewCard(); });
    add(card, tr("&Post"), QStringLiteral("Ctrl+P"), [this] { post(); });
    card->addSeparator();
    add(card, tr("&Quit"), QStringLiteral("Ctrl+Q"), [this] { close(); });
    QMenu* drawing = menuBar()->addMenu(tr("&Drawing"));
    add(drawing, tr("&Rub out"), QStringLiteral("Ctrl+R"), [this] { m_canvas->rubOutLastStroke(); });
}

void FormWindow::createTexts(QWidget* page)
{
    m_name = new QLineEdit(page);
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setPlaceholderText(tr("Whom is it for?"));
    m_name->setGeometry(namePlace);
    m_name->setDragEnabled(true);
    connect(m_name, &QLineEdit::textChanged, this,
        [this](const QString& text) { m_log.write(m_name->objectName(), QStringLiteral("text"), text); });

    m_message = new QPlainTextEdit(page);
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setPlaceholderText(tr("What is there to tell?"));
    m_message->setGeometry(messagePlace);
    connect(m_message, &QPlainTextEdit::textChanged, this,
        [this] { m_log.write(m_message->objectName(), QStringLiteral("text"), m_message->toPlainText()); });
}

void FormWindow::createStamps(QWidget* page)
{
    m_stamps = new StampList(page);
    m_stamps->setObjectName(QStringLiteral("stamps"));
    m_stamps->setGeometry(stampsPlace);
    m_stamps->viewport()->installEventFilter(this); // the viewport gets the wheel
    connect(m_stamps, &QListWidget::currentItemChanged, this, &FormWindow::chooseStamp);
    connect(m_stamps->model(), &QAbstractItemModel::rowsAboutToBeRemoved, this,
        [this](const QModelIndex&, int row) {
            m_log.write(m_stamps->objectName(), QStringLiteral("gone"), m_stamps->item(row)->text());
        });
}

void FormWindow::createPostButton(QWidget* page)
{
    m_post = new QPushButton(tr("Post"), page);
    m_post->setObjectName(QStringLiteral("post"));
    m_post->setGeometry(postPlace);
    connect(m_post, &QPushButton::clicked, this, &FormWindow::post);
}

void FormWindow::startNewCard()
{
    m_name->clear();
    m_message->clear();
    m_stamps->setCurrentRow(-1);
    m_canvas->clear();
    m_name->setFocus();
}

void FormWindow::post()
{
    ++m_posted;
    m_post->setText(tr("Post (%1 posted)").arg(m_posted));
    m_log.write(m_post->objectName(), QStringLiteral("posted"), QString::number(m_posted));
}

void FormWindow::chooseStamp(const QListWidgetItem* item)
{
    const Stamp stamp = StampList::stampOf(item);
    m_canvas->setStamp(stamp);
    if (item != nullptr)
        m_log.write(m_stamps->objectName(), QStringLiteral("chosen"), stamp.name);
}

bool FormWindow::event(QEvent* event)
{
    const bool handled = QMainWindow::event(event);
    switch (event->type()) {
    case QEvent::Resize:
    case QEvent::LayoutRequest:
        placeCanvas();
        writeWidgetsFile();
        break;
    case QEvent::Move:
        writeWidgetsFile();
        break;
    case QEvent::WindowActivate:
        writeWidgetsFile();
        m_log.write(objectName(), QStringLiteral("active"));
        break;
    default:
        break;
    }
    return handled;
}

bool FormWindow::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::FocusIn)
        m_log.write(object->objectName(), QStringLiteral("focus"));
    if (event->type() == QEvent::Wheel && object == m_stamps->viewport()) {
        const int delta = static_cast<QWheelEvent*>(event)->angleDelta().y();
        m_log.write(m_stamps->objectName(), QStringLiteral("wheel"), QString::number(delta));
    }
    return QMainWindow::eventFilter(object, event);
}

void FormWindow::closeEvent(QCloseEvent* event)
{
    m_log.write(objectName(), QStringLiteral("closed"));
    QMainWindow::closeEvent(event);
}

void FormWindow::placeCanvas()
{
    const QSize page = centralWidget()->size();
    m_canvas->setGeometry(canvasLeft, margin, page.width() - canvasLeft - margin, page.height() - 2 * margin);
}

void FormWindow::writeWidgetsFile() const
{
    if (m_widgetsFile.isEmpty() || !isVisible())
        return;
    QJsonObject places {{objectName(), toJson(placeOnScreen(*this))}};
    const QWidget* const named[] = {m_name, m_message, m_stamps, m_post, m_canvas};
    for (const QWidget* widget : named)
        places.insert(widget->objectName(), toJson(placeOnScreen(*widget)));
    QSaveFile file(m_widgetsFile); // replaces the file atomically
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(places).toJson());
        file.commit();
    }
}
