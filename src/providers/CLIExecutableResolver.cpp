#include "CLIExecutableResolver.h"

#include "ProviderError.h"
#include "domain/Utf8.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <csignal>
#include <mutex>

namespace brindlet {

namespace {

struct ResolutionCache {
    std::mutex lock;
    QHash<QString, QString> values;
};

ResolutionCache& sharedCache()
{
    static ResolutionCache cache;
    return cache;
}

const QString codexNativeKey = QStringLiteral("codex-native");

} // namespace

bool isExecutableFile(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

CLIExecutableResolver::CLIExecutableResolver()
    : CLIExecutableResolver(
        [] {
            Environment environment;
            const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
            for (const QString& key : system.keys())
                environment.insert(key, system.value(key));
            return environment;
        }(),
        QDir::homePath())
{
}

CLIExecutableResolver::CLIExecutableResolver(Environment environment, QString homeDirectory, bool usesSharedCache)
    : environment_(std::move(environment))
    , homeDirectory_(std::move(homeDirectory))
    , usesSharedCache_(usesSharedCache)
{
}

void CLIExecutableResolver::clearSharedCache()
{
    std::lock_guard guard(sharedCache().lock);
    sharedCache().values.clear();
}

std::optional<QString> CLIExecutableResolver::cached(const QString& key) const
{
    if (!usesSharedCache_)
        return std::nullopt;
    QString path;
    {
        std::lock_guard guard(sharedCache().lock);
        path = sharedCache().values.value(key);
    }
    // A stale entry (the program was uninstalled) is passed over, not removed.
    if (path.isEmpty() || !isExecutableFile(path))
        return std::nullopt;
    return path;
}

void CLIExecutableResolver::store(const QString& key, const QString& path) const
{
    if (!usesSharedCache_)
        return;
    std::lock_guard guard(sharedCache().lock);
    sharedCache().values.insert(key, path);
}

QString CLIExecutableResolver::expandHome(const QString& path) const
{
    if (path == QLatin1String("~"))
        return homeDirectory_;
    if (path.startsWith(QLatin1String("~/")))
        return homeDirectory_ + path.mid(1);
    return path;
}

QString CLIExecutableResolver::resolve(const QString& name) const
{
    if (const auto path = cached(name))
        return *path;
    for (const QString& directory : candidateDirectories()) {
        const QString path = QDir(directory).filePath(name);
        if (isExecutableFile(path)) {
            store(name, path);
            return path;
        }
    }
    std::optional<QString> answer = shellResolver ? shellResolver(name) : std::nullopt;
    if (!answer)
        answer = resolveThroughLoginShell(name);
    if (answer && answer->startsWith(QLatin1Char('/')) && isExecutableFile(*answer)) {
        store(name, *answer);
        return *answer;
    }
    throw ProviderError::cliNotFound(name);
}

QStringList CLIExecutableResolver::candidateDirectories() const
{
    QStringList directories;
    for (const QString& entry : environment_.value(QStringLiteral("PATH")).split(QLatin1Char(':'), Qt::SkipEmptyParts))
        directories << expandHome(entry);

    const std::pair<const char*, const char*> variables[] = {
        { "NVM_BIN", "" },
        { "PNPM_HOME", "" },
        { "HOMEBREW_PREFIX", "bin" },
        { "VOLTA_HOME", "bin" },
        { "BUN_INSTALL", "bin" },
        { "MISE_DATA_DIR", "shims" },
        { "ASDF_DATA_DIR", "shims" },
    };
    for (const auto& [variable, subPath] : variables) {
        const QString value = environment_.value(QLatin1String(variable)).trimmed();
        if (value.isEmpty())
            continue;
        const QString base = expandHome(value);
        directories << (*subPath ? QDir(base).filePath(QLatin1String(subPath)) : base);
    }

    for (const char* relative :
        { "bin", ".local/bin", ".cursor/bin", ".claude/local", ".volta/bin", ".asdf/shims", ".nodenv/shims",
            ".local/share/mise/shims", ".mise/shims", ".bun/bin", ".cargo/bin", ".npm-global/bin", "Library/pnpm" })
        directories << QDir(homeDirectory_).filePath(QLatin1String(relative));
    directories << QStringList { u"/opt/homebrew/bin"_qs, u"/usr/local/bin"_qs, u"/opt/local/bin"_qs, u"/usr/bin"_qs,
        u"/bin"_qs };
    directories << versionedDirectories(QDir(homeDirectory_).filePath(u".nvm/versions/node"_qs), u"bin"_qs);
    directories << versionedDirectories(
        QDir(homeDirectory_).filePath(u".local/share/fnm/node-versions"_qs), u"installation/bin"_qs);
    directories << versionedDirectories(
        QDir(homeDirectory_).filePath(u".fnm/node-versions"_qs), u"installation/bin"_qs);

    QStringList unique;
    QSet<QString> seen;
    for (const QString& directory : directories) {
        const QString standardised = QDir::cleanPath(directory);
        if (!seen.contains(standardised)) {
            seen.insert(standardised);
            unique << directory;
        }
    }
    return unique;
}

QStringList CLIExecutableResolver::versionedDirectories(const QString& root, const QString& subPath)
{
    QStringList children = QDir(root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    // Plain descending order on purpose: "v9" ranks before "v22".
    std::sort(children.begin(), children.end(), [](const QString& a, const QString& b) { return a > b; });
    QStringList directories;
    for (const QString& child : children)
        directories << QDir(QDir(root).filePath(child)).filePath(subPath);
    return directories;
}

std::optional<QString> CLIExecutableResolver::resolveThroughLoginShell(const QString& name) const
{
    static const QRegularExpression safeName(QStringLiteral("^[A-Za-z0-9._-]+$"));
    if (!safeName.match(name).hasMatch())
        return std::nullopt;
    const QString shell = environment_.value(QStringLiteral("SHELL"), QStringLiteral("/bin/zsh"));
    if (!isExecutableFile(shell))
        return std::nullopt;

    QProcess process;
    QProcessEnvironment environment;
    for (auto it = environment_.begin(); it != environment_.end(); ++it)
        environment.insert(it.key(), it.value());
    process.setProcessEnvironment(environment);
    process.setStandardErrorFile(QProcess::nullDevice());
    // The name reaches the shell as a positional argument, never as script text.
    const bool fish = QFileInfo(shell).fileName() == QLatin1String("fish");
    process.start(shell,
        fish ? QStringList { u"-lc"_qs, u"command -s -- $argv[1]"_qs, name }
             : QStringList { u"-lic"_qs, u"command -v \"$1\""_qs, u"brindlet-resolve"_qs, name });
    if (!process.waitForStarted(1500))
        return std::nullopt;
    if (!process.waitForFinished(1500)) {
        process.terminate();
        if (!process.waitForFinished(250)) {
            ::kill(pid_t(process.processId()), SIGKILL);
            process.waitForFinished(1000);
        }
    }
    const auto output = decodeUtf8(process.readAllStandardOutput());
    if (!output)
        return std::nullopt;
    static const QRegularExpression lineBreaks(QStringLiteral("[\\n\\v\\f\\r\\x{85}\\x{2028}\\x{2029}]"));
    const QStringList lines = output->split(lineBreaks, Qt::SkipEmptyParts);
    // Login banners come first: the answer is the last path-like line.
    for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
        const QString line = it->trimmed();
        if (line.startsWith(QLatin1Char('/')))
            return line;
    }
    return std::nullopt;
}

QString CLIExecutableResolver::resolveCodexNative() const
{
    if (const auto path = cached(codexNativeKey))
        return *path;
    const QString launcher = resolve(QStringLiteral("codex"));
    const QFileInfo real(QFileInfo(launcher).canonicalFilePath());
    if (real.suffix() != QLatin1String("js") && isExecutableFile(real.filePath())) {
        store(codexNativeKey, real.filePath());
        return real.filePath();
    }
    QDir package = real.dir();
    if (package.dirName() == QLatin1String("bin"))
        package.cdUp();
    QDirIterator walk(package.filePath(QStringLiteral("node_modules/@openai")), QDir::Files | QDir::NoDotAndDotDot,
        QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QFileInfo candidate(walk.next());
        if (candidate.fileName() == QLatin1String("codex") && candidate.dir().dirName() == QLatin1String("bin")
            && isExecutableFile(candidate.filePath())) {
            store(codexNativeKey, candidate.filePath());
            return candidate.filePath();
        }
    }
    throw ProviderError::cliNotFound(QStringLiteral("codex"));
}

} // namespace brindlet
