#pragma once

// A real editor in another process for the desktop backend's tests: GTK 3 (an entry or a text
// view) or Qt (a line edit, a text edit or a Qt Quick text area), holding a text with a selection
// or a bare cursor at its end. The editor reports each change of its text, so a test can see
// what landed in the document without asking through the code under test.

#include <QProcess>
#include <QString>

#include <optional>
#include <utility>

namespace brindlet::test {

class TestEditor {
public:
    enum class Kind {
        gtkEntry,
        gtkView,
        gtkEntryRefusingDirectWrites,
        qtLine,
        qtLineRefusingDirectWrites,
        qtText,
        qtQuick
    };
    // selection is in the toolkit's own offsets: code points for GTK, UTF-16 units for Qt.
    TestEditor(Kind kind, const QString& text, std::optional<std::pair<int, int>> selection);
    ~TestEditor();
    TestEditor(const TestEditor&) = delete;
    TestEditor& operator=(const TestEditor&) = delete;

    // Waits until the field has the focus and its selection; false when the editor did not start.
    bool waitUntilReady();
    // Waits until the editor reports this text.
    bool waitForText(const QString& expected);
    // Every text the editor reported since it started, oldest first.
    const QStringList& reportedTexts();
    std::int32_t processID() const { return std::int32_t(process_.processId()); }

private:
    void readLines();

    QProcess process_;
    QStringList texts_;
    bool ready_ = false;
    QByteArray pending_;
};

} // namespace brindlet::test
