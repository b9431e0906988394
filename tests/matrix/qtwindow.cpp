// A text window that writes its text to a file when it has the focus, and again soon after each change.

#include <cstdio>

#include <QApplication>
#include <QFile>
#include <QPlainTextEdit>
#include <QTextDocument>
#include <QTimer>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const QString name = QApplication::arguments().value(1);
    QPlainTextEdit editor;
    editor.document()->setModified();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &editor, [&] {
        if (!editor.hasFocus() || !editor.document()->isModified())
            return;
        editor.document()->setModified(false);
        // Unlike toPlainText() this keeps no-break spaces.
        const QByteArray text
            = editor.document()->toRawText().replace(QChar::ParagraphSeparator, u'\n').toUtf8();
        QFile file(name + QStringLiteral(".new"));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("Cannot write %s", qUtf8Printable(name));
        file.close();
        std::rename(qUtf8Printable(file.fileName()), qUtf8Printable(name)); // replaces the file at once
    });
    timer.start(20);
    editor.show();
    return QApplication::exec();
}
