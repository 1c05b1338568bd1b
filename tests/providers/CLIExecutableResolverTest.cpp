#include "providers/CLIExecutableResolver.h"
#include "providers/CLIInvocation.h"
#include "providers/ProviderError.h"
#include "support/EventLoop.h"
#include "support/Printers.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace brindlet;

namespace {

class Resolver : public ::testing::Test {
protected:
    QTemporaryDir home;
    void SetUp() override { CLIExecutableResolver::clearSharedCache(); }
    void TearDown() override { CLIExecutableResolver::clearSharedCache(); }

    QString makeExecutable(const QString& relative, const QByteArray& content = "#!/bin/sh\n")
    {
        const QString path = home.filePath(relative);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(content);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    CLIExecutableResolver resolver(CLIExecutableResolver::Environment environment, bool shared = true)
    {
        environment.insert(u"SHELL"_qs, u"/nonexistent/shell"_qs); // no login shell unless a test sets one
        return CLIExecutableResolver(environment, home.path(), shared);
    }
};

TEST_F(Resolver, CandidateDirectoriesInOrderWithoutEmptiesOrRepeats)
{
    const auto dirs = resolver(
        { { u"PATH"_qs, u":/usr/bin::~/tools:~:/usr/bin/:"_qs }, { u"HOMEBREW_PREFIX"_qs, u" /opt/brew "_qs },
            { u"NVM_BIN"_qs, u"   "_qs }, { u"BUN_INSTALL"_qs, u"~/.bun"_qs } })
                          .candidateDirectories();
    const QString h = home.path();
    ASSERT_GE(dirs.size(), 10);
    EXPECT_EQ(dirs.mid(0, 6),
        (QStringList {
            u"/usr/bin"_qs, h + u"/tools"_qs, h, u"/opt/brew/bin"_qs, h + u"/.bun/bin"_qs, h + u"/bin"_qs }));
    EXPECT_EQ(dirs.count(u"/usr/bin"_qs), 1); // "/usr/bin/" is the same directory
    EXPECT_LT(dirs.indexOf(u"/usr/local/bin"_qs), dirs.indexOf(u"/bin"_qs));
}

TEST_F(Resolver, VersionDirectoriesSortPlainlyDescending)
{
    for (const char* version : { "v18.2.0", "v9.11.1", "v22.0.0", ".hidden" })
        QDir().mkpath(home.filePath(u".nvm/versions/node/"_qs + QLatin1String(version)));
    EXPECT_EQ(CLIExecutableResolver::versionedDirectories(home.filePath(u".nvm/versions/node"_qs), u"bin"_qs),
        (QStringList { home.filePath(u".nvm/versions/node/v9.11.1/bin"_qs),
            home.filePath(u".nvm/versions/node/v22.0.0/bin"_qs),
            home.filePath(u".nvm/versions/node/v18.2.0/bin"_qs) }));
    EXPECT_TRUE(CLIExecutableResolver::versionedDirectories(home.filePath(u"missing"_qs), u"bin"_qs).isEmpty());
}

TEST_F(Resolver, FindsCachesAndPassesOverStaleEntries)
{
    const QString first = makeExecutable(u"a/claude"_qs);
    EXPECT_EQ(resolver({ { u"PATH"_qs, home.filePath(u"a"_qs) } }).resolve(u"claude"_qs), first);
    // Cached: found although it is no longer on the search path.
    EXPECT_EQ(resolver({}).resolve(u"claude"_qs), first);
    // Without the shared cache nothing is read from it, and nothing written.
    EXPECT_THROW(resolver({}, false).resolve(u"claude"_qs), ProviderError);
    QFile::remove(first);
    const QString second = makeExecutable(u"b/claude"_qs);
    EXPECT_EQ(resolver({ { u"PATH"_qs, home.filePath(u"b"_qs) } }).resolve(u"claude"_qs), second);
    EXPECT_EQ(test::outcomeOfCall([&] { resolver({}, false).resolve(u"gemini"_qs); }),
        u"The gemini CLI is not installed or could not be found."_qs);
}

TEST_F(Resolver, LoginShellAnswerIsTheLastPathLine)
{
    const QString target = makeExecutable(u"hidden/place/claude"_qs);
    const QString marker = home.filePath(u"shell-ran"_qs);
    // A login shell that prints a path-like banner and an alias report before its answer.
    const QString shell = makeExecutable(u"fake-shell/zsh"_qs,
        QStringLiteral("#!/bin/sh\ntouch '%1'\necho '/etc/motd says hello'\necho 'claude: aliased to something'\n"
                       "printf '%2\\r\\n'\n")
            .arg(marker, target)
            .toUtf8());
    CLIExecutableResolver::Environment environment { { u"PATH"_qs, u"/nowhere"_qs }, { u"SHELL"_qs, shell } };
    CLIExecutableResolver withShell(environment, home.path(), false);
    EXPECT_EQ(withShell.resolveThroughLoginShell(u"claude"_qs), target);
    QFile::remove(marker);
    EXPECT_FALSE(withShell.resolveThroughLoginShell(u"claude; rm -rf ~"_qs));
    EXPECT_FALSE(withShell.resolveThroughLoginShell(u"two words"_qs));
    EXPECT_FALSE(QFile::exists(marker)); // refused names start no shell
}

TEST_F(Resolver, CodexNativeIsFoundBehindAScriptLauncher)
{
    const QString launcher = makeExecutable(u"npm/lib/node_modules/@openai/codex/bin/codex.js"_qs);
    const QString native = makeExecutable(
        u"npm/lib/node_modules/@openai/codex/node_modules/@openai/codex-linux-x64/vendor/x86_64-unknown-linux-musl/bin/codex"_qs,
        "\x7f"
        "ELF");
    QDir().mkpath(home.filePath(u"npm/bin"_qs));
    QFile::link(launcher, home.filePath(u"npm/bin/codex"_qs));
    EXPECT_EQ(resolver({ { u"PATH"_qs, home.filePath(u"npm/bin"_qs) } }).resolveCodexNative(), native);
    EXPECT_EQ(resolver({}).resolveCodexNative(), native); // from the cache
}

// ---- the restricted session ----

struct SandboxRun {
    int exitCode;
    QByteArray out, err;
};

SandboxRun runSandboxed(const QString& profile, const QString& executable, const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(SANDBOX_EXEC_PATH), QStringList { u"-p"_qs, profile, executable } + arguments);
    process.waitForFinished(10000);
    return { process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError() };
}

// A compiled child tries every way of starting another program; only the allowed one starts.
TEST(RestrictedSession, NoOtherProgramStartsWhicheverWayItIsNamed)
{
    const QString probe = QStringLiteral(SANDBOX_PROBE_PATH);
    const QString loader = u"/lib64/ld-linux-x86-64.so.2"_qs;
    const QString loaderTarget = QFileInfo(loader).canonicalFilePath();
    ASSERT_FALSE(loaderTarget.isEmpty());
    QTemporaryDir dir;
    const QString script = dir.filePath(u"script"_qs);
    QFile file(script);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\necho started\n");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    file.close();
    const QStringList startProbe { probe, u"say"_qs, u"started"_qs };
    const std::pair<QStringList, bool> rows[] = {
        { QStringList { u"execve"_qs } + startProbe, true },
        { QStringList { u"execveat-fd"_qs } + startProbe, true },
        { QStringList { u"execveat-dir"_qs } + startProbe, true },
        { QStringList { u"fork"_qs, u"execve"_qs } + startProbe, true },
        { QStringList { u"execve"_qs, loader } + startProbe, false }, // the interpreter named directly
        { QStringList { u"execve"_qs, loaderTarget } + startProbe, false }, // by its other path
        { QStringList { u"execveat-fd"_qs, loader } + startProbe, false },
        { QStringList { u"execveat-dir"_qs, loaderTarget } + startProbe, false },
        { QStringList { u"fork"_qs, u"execve"_qs, loader } + startProbe, false },
        { QStringList { u"execve"_qs, script }, false },
        { QStringList { u"execve"_qs, u"/bin/echo"_qs, u"started"_qs }, false },
    };
    for (const auto& [arguments, starts] : rows) {
        const SandboxRun run = runSandboxed(restrictedProfile(probe), probe, arguments);
        const QByteArray expected = starts ? "started\n" : "refused: Permission denied\n";
        EXPECT_EQ(run.out, expected) << arguments.join(u' ').toStdString() << "\n" << run.err.toStdString();
    }
}

TEST(RestrictedSession, ProfileEscapingSurvivesQuotesAndBackslashes)
{
    QTemporaryDir dir;
    const QString odd = dir.filePath(u"sh \"quoted\" \\ odd"_qs);
    ASSERT_TRUE(QFile::copy(u"/bin/sh"_qs, odd));
    EXPECT_EQ(restrictedProfile(odd),
        u"(version 1)\n(allow default)\n(deny process-exec)\n(allow process-exec (literal \""_qs + dir.path()
            + u"/sh \\\"quoted\\\" \\\\ odd\"))"_qs);
    const SandboxRun run
        = runSandboxed(restrictedProfile(odd), odd, { u"-c"_qs, u"echo ok; /bin/true || echo denied"_qs });
    EXPECT_EQ(run.out, QByteArray("ok\ndenied\n")) << run.err.toStdString();
}

TEST(RestrictedSession, RefusesWhatItCannotEnforce)
{
    const std::pair<QString, QString> refusals[] = {
        { u"(version 1)\n(allow default)"_qs, u"/bin/sh"_qs }, // another profile
        { restrictedProfile(u"/bin/sh"_qs), u"/bin/dash"_qs }, // another program than the profile's
        { restrictedProfile(u"/bin/sh"_qs) + u"\n"_qs, u"/bin/sh"_qs }, // trailing text
    };
    for (const auto& [profile, executable] : refusals) {
        const SandboxRun run = runSandboxed(profile, executable, { u"-c"_qs, u"echo ran"_qs });
        EXPECT_NE(run.exitCode, 0);
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_TRUE(run.err.startsWith("brindlet-sandbox-exec: ")) << run.err.toStdString();
    }
}

} // namespace
