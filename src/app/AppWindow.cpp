#include "AppWindow.h"

#include <QQmlContext>

namespace brindlet {

std::unique_ptr<QQuickView> makeAppWindow(const QString& title, QSize size, QSize minimum, const QString& qmlFile,
    std::initializer_list<std::pair<QString, QObject*>> context)
{
    auto view = std::make_unique<QQuickView>();
    view->setTitle(title);
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->resize(size);
    view->setMinimumSize(minimum);
    for (const auto& [name, object] : context)
        view->rootContext()->setContextProperty(name, object);
    view->setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/") + qmlFile));
    return view;
}

} // namespace brindlet
