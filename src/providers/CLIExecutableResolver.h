#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace brindlet {

// Finds an agent program: in a process-wide cache, then in an ordered list of directories, last
// through the user's login shell. May block (the shell step), so it never runs on the main
// thread from the application; every operation is safe from any thread.
class CLIExecutableResolver {
public:
    using Environment = QHash<QString, QString>;

    CLIExecutableResolver(); // this process's environment and home, the shared cache
    CLIExecutableResolver(Environment environment, QString homeDirectory, bool usesSharedCache = true);

    std::function<std::optional<QString>(const QString&)> shellResolver; // asked before the login shell

    // An executable path, or ProviderError::cliNotFound(name).
    QString resolve(const QString& name) const;
    // The native Codex binary behind a script launcher, or cliNotFound("codex").
    QString resolveCodexNative() const;

    QStringList candidateDirectories() const;
    static QStringList versionedDirectories(const QString& root, const QString& subPath);
    std::optional<QString> resolveThroughLoginShell(const QString& name) const;

    static void clearSharedCache();

private:
    QString expandHome(const QString& path) const;
    std::optional<QString> cached(const QString& key) const;
    void store(const QString& key, const QString& path) const;

    Environment environment_;
    QString homeDirectory_;
    bool usesSharedCache_;
};

bool isExecutableFile(const QString& path);

} // namespace brindlet
