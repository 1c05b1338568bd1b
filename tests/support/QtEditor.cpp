// A real Qt editor for the desktop backend's tests:
//   qt_editor KIND TEXT [START END]
// KIND is "line" (QLineEdit), "line-refusing" (a QLineEdit where writes through the accessibility
// bus do not stick: only typing and pasting change it), "text" (QTextEdit) or "qml" (a Qt Quick
// Controls TextArea). START
// and END select in UTF-16 units, as Qt counts. Every change of the text is printed on standard
// output as one JSON string, and "ready" once the field has the focus. It runs until killed.

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTextCursor>
#include <QTextEdit>
#include <QTimer>

#include <cstdio>
#include <utility>

namespace {

void report(const QString& text)
{
    // A one-element array, so that the line is valid JSON whatever the text holds.
    const QByteArray line = QJsonDocument(QJsonArray { text }).toJson(QJsonDocument::Compact);
    std::printf("%s\n", line.mid(1, line.size() - 2).constData());
    std::fflush(stdout);
}

void ready()
{
    std::printf("ready\n");
    std::fflush(stdout);
}

// Qt Quick reports its text through this object.
class Reporter : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    Q_INVOKABLE void report(const QString& text) { ::report(text); }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString kind = args.value(1, QStringLiteral("line"));
    const QString text = args.value(2);
    const bool selects = args.size() > 4;
    const int start = args.value(3).toInt(), end = args.value(4).toInt();

    QLineEdit line;
    QTextEdit rich;
    QQmlApplicationEngine engine;
    QString accepted = text;
    bool edited = false;
    if (kind.startsWith(u"line")) {
        line.setText(text);
        QObject::connect(&line, &QLineEdit::textChanged, &report);
        if (kind == u"line-refusing") {
            // A change that no key press made came through the accessibility bus: undone, with
            // the selection as it was.
            QObject::connect(&line, &QLineEdit::textEdited, [&] {
                edited = true;
                accepted = line.text();
            });
            QObject::connect(&line, &QLineEdit::textChanged, [&] {
                QTimer::singleShot(0, [&] {
                    if (!std::exchange(edited, false) && line.text() != accepted) {
                        line.setText(accepted);
                        line.setSelection(start, end - start);
                    }
                });
            });
        }
        line.resize(480, 40);
        line.show();
        QTimer::singleShot(200, [&] {
            line.activateWindow();
            line.setFocus();
            selects ? line.setSelection(start, end - start) : line.setCursorPosition(int(text.size()));
            ready();
        });
    } else if (kind == u"text") {
        rich.setPlainText(text);
        QObject::connect(&rich, &QTextEdit::textChanged, [&] { report(rich.toPlainText()); });
        rich.resize(480, 200);
        rich.show();
        QTimer::singleShot(200, [&] {
            rich.activateWindow();
            rich.setFocus();
            QTextCursor cursor = rich.textCursor();
            cursor.setPosition(selects ? start : int(text.size()));
            if (selects)
                cursor.setPosition(end, QTextCursor::KeepAnchor);
            rich.setTextCursor(cursor);
            ready();
        });
    } else {
        engine.rootContext()->setContextProperty(QStringLiteral("initialText"), text);
        engine.rootContext()->setContextProperty(QStringLiteral("reporter"), new Reporter(&app));
        engine.loadData(R"(
            import QtQuick
            import QtQuick.Controls
            ApplicationWindow {
                width: 480; height: 200; visible: true; title: "Editor"
                TextArea {
                    objectName: "area"; anchors.fill: parent; text: initialText
                    onTextChanged: reporter.report(text)
                }
            })");
        if (engine.rootObjects().isEmpty())
            return 1;
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
        auto* area = window->findChild<QQuickItem*>(QStringLiteral("area"));
        QTimer::singleShot(200, [=] {
            window->requestActivate();
            area->forceActiveFocus();
            const int from = selects ? start : int(text.size()), to = selects ? end : int(text.size());
            QMetaObject::invokeMethod(area, "select", Q_ARG(int, from), Q_ARG(int, to));
            ready();
        });
    }
    return app.exec();
}

#include "QtEditor.moc"
