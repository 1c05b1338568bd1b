#pragma once

// Small builders for the scenes tests need: editors, read-only views, browsers, deferred hosts.

#include "SimulatedDesktop.h"
#include "platform/AccessibilityVocabulary.h"
#include "selection/SelectionService.h"

namespace brindlet::test {

using simulated::SimApplication;
using simulated::SimElementPtr;
using simulated::SimulatedDesktop;

// Every platform service the selection service needs, played by one simulated desktop.
inline SelectionPlatform platformOf(SimulatedDesktop& desktop)
{
    return { &desktop, &desktop, &desktop, &desktop, &desktop, &desktop };
}

struct DesktopScene {
    SimulatedDesktop desktop;
    SelectionService service { platformOf(desktop) };

    // A native editor, frontmost, with its text field focused.
    SimElementPtr editor(const QString& text, TextRange selection, std::int32_t pid = 501,
        std::optional<QString> name = QStringLiteral("TextEdit"))
    {
        SimApplication& app = desktop.addApplication(pid, QStringLiteral("com.apple.TextEdit"), std::move(name));
        auto window = app.addWindow(QStringLiteral("Untitled"));
        auto field = desktop.addText(window, AXRole::textArea, text, selection);
        app.focus(field);
        desktop.bringToFront(pid);
        return field;
    }

    // A browser window: toolbar with an address field, and a page (web area) holding content.
    struct Browser {
        SimApplication* app;
        SimElementPtr window, addressBar, webArea, paragraph;
    };
    Browser browser(const QString& bundleIdentifier = QStringLiteral("com.apple.Safari"), std::int32_t pid = 601)
    {
        SimApplication& app = desktop.addApplication(pid, bundleIdentifier, QStringLiteral("Safari"));
        Browser b { &app, app.addWindow(QStringLiteral("Example")), {}, {}, {} };
        auto toolbar = b.window->addChild(AXRole::toolbar);
        b.addressBar = desktop.addText(toolbar, AXRole::textField, QStringLiteral("https://example.test/"), { 0, 0 });
        b.addressBar->identifier = QStringLiteral("WEB_BROWSER_ADDRESS_AND_SEARCH_FIELD");
        auto scroll = b.window->addChild(AXRole::scrollArea);
        b.webArea = desktop.addText(scroll, AXRole::webArea, QStringLiteral("A page about otters."), { 0, 0 });
        b.webArea->selectedTextSettable = false;
        b.paragraph = b.webArea->addChild(AXRole::staticText);
        app.focus(b.paragraph);
        desktop.bringToFront(pid);
        return b;
    }

    // A host built on a web runtime: it publishes its tree only when asked.
    SimApplication& deferredHost(std::int32_t pid = 701, AXStatus answer = AXErrorCode::success)
    {
        const QString bundle = QStringLiteral("/Applications/Chat.app");
        SimApplication& app
            = desktop.addApplication(pid, QStringLiteral("com.example.chat"), QStringLiteral("Chat"), bundle);
        desktop.addFile(bundle + QStringLiteral("/Contents/Frameworks/Electron Framework.framework"));
        app.defersTree = true;
        app.treePublished = false;
        app.manualAccessibilityStatus = answer;
        desktop.bringToFront(pid);
        return app;
    }
};

} // namespace brindlet::test
