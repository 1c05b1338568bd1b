#pragma once

// One of Brindlet's ordinary windows, drawn in QML: its title and sizes, the objects the QML
// reads by name, and the QML file from the resources.

#include <QQuickView>

#include <initializer_list>
#include <memory>
#include <utility>

namespace brindlet {

std::unique_ptr<QQuickView> makeAppWindow(const QString& title, QSize size, QSize minimum, const QString& qmlFile,
    std::initializer_list<std::pair<QString, QObject*>> context);

} // namespace brindlet
