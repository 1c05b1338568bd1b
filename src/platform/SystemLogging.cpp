#include "SystemLogging.h"

#include <QByteArray>
#include <QHash>
#include <QLoggingCategory>

#include <memory>

namespace brindlet {

void QtSystemLog::log(Level level, const QString& category, const QString& message)
{
    // QLoggingCategory keeps the name pointer, so each category lives for the process.
    static QHash<QString, std::shared_ptr<QByteArray>> names;
    static QHash<QString, std::shared_ptr<QLoggingCategory>> categories;
    auto it = categories.find(category);
    if (it == categories.end()) {
        auto name = std::make_shared<QByteArray>("com.brindlet.native." + category.toUtf8());
        names.insert(category, name);
        it = categories.insert(category, std::make_shared<QLoggingCategory>(name->constData()));
    }
    const QLoggingCategory& lc = **it;
    switch (level) {
    case Level::debug: qCDebug(lc).noquote() << message; break;
    case Level::info: qCInfo(lc).noquote() << message; break;
    case Level::error: qCCritical(lc).noquote() << message; break;
    }
}

} // namespace brindlet
