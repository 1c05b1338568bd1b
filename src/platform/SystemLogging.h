#pragma once

#include <QString>

namespace brindlet {

// The system log, under the subsystem "com.brindlet.native". A line never holds selected text.
class SystemLogging {
public:
    enum class Level { debug, info, error };
    virtual ~SystemLogging() = default;
    virtual void log(Level level, const QString& category, const QString& message) = 0;
};

// Writes through QLoggingCategory as "com.brindlet.native.<category>".
class QtSystemLog final : public SystemLogging {
public:
    void log(Level level, const QString& category, const QString& message) override;
};

} // namespace brindlet
