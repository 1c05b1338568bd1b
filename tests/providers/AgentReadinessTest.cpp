#include "providers/AgentReadiness.h"
#include "support/AgentPeers.h"
#include "support/EventLoop.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

// The words each program's status command prints, and what they mean.
TEST(AgentReadiness, StatusWordsAreReadAsTheProgramsMeanThem)
{
    struct Row {
        ProviderKind kind;
        const char* output;
        bool signedIn;
    };
    const Row rows[] = {
        { ProviderKind::claude, "sh: 1: claude: Permission denied", false },
        { ProviderKind::codex, "Not logged in", false }, // holds "logged in" too
        { ProviderKind::cursor, "Authenticated as ann@example.com", true },
        { ProviderKind::cursor, "  Logged in\n", true },
        { ProviderKind::cursor, "Unauthenticated. Run cursor-agent login", false },
        { ProviderKind::cursor, "not authenticated", false },
    };
    for (const Row& row : rows)
        EXPECT_EQ(statusSaysSignedIn(row.kind, row.output), row.signedIn) << row.output;

    for (const char* other : { R"({"security":{"auth":{"selectedType":"gemini-api-key"}}})",
             R"({"security":{"auth":"oauth-personal"}})", "[]", "not json" })
        EXPECT_FALSE(geminiSettingsChooseGoogleSignIn(other)) << other;

    EXPECT_EQ(abbreviatedPath(u"/home/ann/.local/bin/claude"_qs, u"/home/ann"_qs), u"~/.local/bin/claude"_qs);
    EXPECT_EQ(abbreviatedPath(u"/opt/homebrew/bin/claude"_qs, u"/home/ann"_qs), u"/opt/homebrew/bin/claude"_qs);
    EXPECT_EQ(abbreviatedPath(u"/home/ann2/bin/claude"_qs, u"/home/ann"_qs), u"/home/ann2/bin/claude"_qs);
}

// The whole check against the programs themselves: a status command that says yes, one that
// says no, and one that says nothing (unverified, never "not signed in").
TEST(AgentReadiness, EachProgramIsAskedWithoutSpendingAnything)
{
    struct Row {
        ProviderKind kind;
        const char* statusOutput; // empty: the status command prints nothing
        ProviderReadiness::State state;
        QString detailStart;
    };
    const Row rows[] = {
        { ProviderKind::claude, R"({"loggedIn":true})", ProviderReadiness::State::ready,
            u"Claude CLI is signed in. Found automatically at "_qs },
        { ProviderKind::claude, R"({"loggedIn":false})", ProviderReadiness::State::unavailable,
            u"Claude CLI is installed, but it is not signed in."_qs },
        { ProviderKind::codex, "Logged in using ChatGPT", ProviderReadiness::State::ready,
            u"Codex CLI is signed in. Found automatically at "_qs },
        { ProviderKind::codex, "", ProviderReadiness::State::unavailable,
            u"Codex CLI is installed, but its sign-in could not be verified."_qs },
        { ProviderKind::cursor, "Unauthenticated", ProviderReadiness::State::unavailable,
            u"Cursor Agent is installed, but it is not signed in."_qs },
    };
    AgentPeers peers({ u"claude"_qs, u"codex"_qs, u"cursor-agent"_qs });
    for (const Row& row : rows) {
        const QString output = QString::fromUtf8(row.statusOutput);
        peers.script({ u"read-all"_qs, output.isEmpty() ? u"exit 0"_qs : u"out "_qs + output });
        const ProviderReadiness readiness = runTask(agentReadiness(row.kind, QDir::homePath()));
        EXPECT_EQ(readiness.state, row.state) << readiness.detail.toStdString();
        EXPECT_TRUE(readiness.detail.startsWith(row.detailStart)) << readiness.detail.toStdString();
        // A status command, never a prompt.
        EXPECT_TRUE(peers.input(peers.starts().constLast()[u"pid"].toInteger()).isEmpty());
    }

    // Gemini runs nothing: its settings file decides.
    AgentPeers gemini({ u"gemini"_qs });
    QTemporaryDir home;
    EXPECT_EQ(runTask(agentReadiness(ProviderKind::gemini, home.path())).state, ProviderReadiness::State::unavailable);
    QDir(home.path()).mkpath(u".gemini"_qs);
    QFile settings(home.filePath(u".gemini/settings.json"_qs));
    ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
    settings.write(R"({"security":{"auth":{"selectedType":"oauth-personal"}}})");
    settings.close();
    const ProviderReadiness ready = runTask(agentReadiness(ProviderKind::gemini, home.path()));
    EXPECT_EQ(ready.state, ProviderReadiness::State::ready);
    EXPECT_EQ(ready.detail,
        u"Gemini CLI is configured for Google sign-in. Found automatically at "_qs + gemini.bin() + u"/gemini."_qs);
    EXPECT_TRUE(gemini.starts().isEmpty());
}

} // namespace
