#include "SettingsWindow.h"

#include "PresetLibraryView.h"

#include <QQmlContext>

namespace brindlet {

SettingsWindow::SettingsWindow(PresetLibraryView& presets)
    : presets_(presets)
{
}

void SettingsWindow::open()
{
    if (!view_) {
        view_ = std::make_unique<QQuickView>();
        view_->setTitle(QStringLiteral("Brindlet Settings"));
        view_->setResizeMode(QQuickView::SizeRootObjectToView);
        view_->resize(720, 520);
        view_->setMinimumSize(QSize(620, 420));
        view_->rootContext()->setContextProperty(QStringLiteral("library"), &presets_);
        view_->setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/Settings.qml")));
    }
    view_->show();
    view_->raise();
    view_->requestActivate();
}

void SettingsWindow::close()
{
    if (view_)
        view_->close();
}

} // namespace brindlet
