#include "AppUnderTest.h"

#include "EventLoop.h"
#include "settings/JsonFileDefaultsStore.h"

#include <QStandardPaths>

#include <cstdio>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <vector>

namespace brindlet::test {

AppUnderTest::AppUnderTest()
{
    QObject::connect(
        &process_, &QProcess::readyReadStandardOutput, [this] { output_ += process_.readAllStandardOutput(); });
    // Its complaints are kept for the test and shown as the test's diagnosis.
    QObject::connect(&process_, &QProcess::readyReadStandardError, [this] {
        const QByteArray text = process_.readAllStandardError();
        errors_ += text;
        std::fwrite(text.constData(), 1, size_t(text.size()), stderr);
    });
}

AppUnderTest::AppUnderTest(const QString& ollamaURL, bool firstRun)
    : AppUnderTest()
{
    configHome_.emplace();
    JsonFileDefaultsStore defaults(configHome_->filePath(QStringLiteral("Brindlet/defaults.json")));
    defaults.apply({ { QStringLiteral("defaultProvider"), DefaultsValue(QStringLiteral("ollama")) },
        { QStringLiteral("ollamaURL"), DefaultsValue(ollamaURL) },
        { QStringLiteral("ollamaModel"), DefaultsValue(QStringLiteral("m")) },
        { QStringLiteral("hasCompletedOnboarding"), DefaultsValue(!firstRun) } });
}

AppUnderTest::~AppUnderTest()
{
    process_.disconnect();
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

QProcessEnvironment AppUnderTest::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (configHome_)
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome_->path());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    // Under the sanitizers, Qt's platform plugins leave a few allocations behind in modules that
    // are unloaded before LeakSanitizer looks, so it cannot name them. They are still reported;
    // they must not decide the exit code, which the tests read as the verdict on a clean end.
    environment.insert(QStringLiteral("LSAN_OPTIONS"), QStringLiteral("exitcode=0"));
    return environment;
}

bool AppUnderTest::start()
{
    process_.setProcessEnvironment(environment());
    process_.start(QStringLiteral(BRINDLET_APP_PATH));
    return process_.waitForStarted()
        && runUntil([&] { return output_.contains("Brindlet is running."); }, std::chrono::seconds(20));
}

int AppUnderTest::launchAgain(const QStringList& arguments)
{
    QProcess again;
    again.setProcessEnvironment(environment());
    again.start(QStringLiteral(BRINDLET_APP_PATH), arguments);
    runUntil([&] { return again.state() == QProcess::NotRunning; }, std::chrono::seconds(10));
    return again.exitStatus() == QProcess::NormalExit ? again.exitCode() : -1;
}

QString AppUnderTest::configFile(const QString& relative) const
{
    const QString home
        = configHome_ ? configHome_->path() : QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return home + QLatin1Char('/') + relative;
}

QByteArray AppUnderTest::cli(const QStringList& arguments) const
{
    QProcess cli;
    cli.setProcessEnvironment(environment());
    cli.start(QStringLiteral(BRINDLET_CLI_PATH), arguments);
    runUntil([&] { return cli.state() == QProcess::NotRunning; }, std::chrono::seconds(10));
    return cli.readAllStandardOutput();
}

namespace {
// The title a window shows: its UTF-8 name, or the older one (Qt leaves that empty on a tray icon).
QByteArray titleOf(Display* display, Window window)
{
    QByteArray title;
    XTextProperty text {};
    if (XGetTextProperty(display, window, &text, XInternAtom(display, "_NET_WM_NAME", False)) && text.value) {
        title = QByteArray(reinterpret_cast<const char*>(text.value), int(text.nitems));
        XFree(text.value);
    }
    char* name = nullptr;
    if (title.isEmpty() && XFetchName(display, window, &name) && name)
        title = name;
    if (name)
        XFree(name);
    return title;
}
} // namespace

std::optional<QRect> visibleWindowTitled(const QByteArray& title, const std::function<bool(const QRect&)>& fits)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return std::nullopt;
    // Windows come and go during the walk; asking about one that went is no reason to stop.
    const auto previous = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    std::optional<QRect> found;
    std::vector<Window> pending { DefaultRootWindow(display) };
    while (!pending.empty() && !found) {
        const Window window = pending.back();
        pending.pop_back();
        XWindowAttributes attributes {};
        if (titleOf(display, window) == title && XGetWindowAttributes(display, window, &attributes)
            && attributes.map_state == IsViewable) {
            int x = 0, y = 0;
            Window child = 0;
            XTranslateCoordinates(display, window, DefaultRootWindow(display), 0, 0, &x, &y, &child);
            const QRect place(x, y, attributes.width, attributes.height);
            if (!fits || fits(place))
                found = place;
        }
        Window root = 0, parent = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (XQueryTree(display, window, &root, &parent, &children, &count)) {
            pending.insert(pending.end(), children, children + count);
            if (children)
                XFree(children);
        }
    }
    XCloseDisplay(display);
    XSetErrorHandler(previous);
    return found;
}

bool keyboardGoesTo(const QByteArray& title)
{
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    const auto previous = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    Window window = 0;
    int revert = 0;
    XGetInputFocus(display, &window, &revert);
    bool found = false;
    // From the focused window up: the title may sit on a parent the toolkit made.
    while (window != 0 && window != PointerRoot && window != DefaultRootWindow(display) && !found) {
        found = titleOf(display, window) == title;
        Window root = 0, parent = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(display, window, &root, &parent, &children, &count))
            break;
        if (children)
            XFree(children);
        window = parent;
    }
    XCloseDisplay(display);
    XSetErrorHandler(previous);
    return found;
}

} // namespace brindlet::test
