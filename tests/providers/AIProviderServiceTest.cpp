#include "providers/AIProviderService.h"
#include "domain/DescribedError.h"
#include "providers/ProviderError.h"
#include "providers/SignInCommand.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

struct ReadinessCase : NamedRow {
    int status;
    QByteArray body;
    QString model;
    ProviderReadiness expected;
};

class OllamaReadiness : public ::testing::TestWithParam<ReadinessCase> { };

TEST_P(OllamaReadiness, DescribesTheServer)
{
    FakeHttpServer server;
    AIProviderService service;
    server.respondWith(FakeResponse::json(GetParam().status, GetParam().body));
    const auto readiness = runTask(service.readiness(ProviderKind::ollama, { server.baseURL(), GetParam().model }));
    EXPECT_EQ(readiness, GetParam().expected);
}

using State = ProviderReadiness::State;
BRINDLET_ROWS(Service, OllamaReadiness,
    ReadinessCase { "notResponding", 500, "{}", u""_qs,
        { State::unavailable, u"Ollama is not responding at this address."_qs, {} } },
    ReadinessCase { "noModels", 200, "{\"models\":[]}", u""_qs,
        { State::unavailable, u"Ollama is running, but no models are installed."_qs, {} } },
    ReadinessCase { "selectedModelGone", 200, "{\"models\":[{\"name\":\"b\"},{\"name\":\"a\"}]}", u"c"_qs,
        { State::unavailable, u"The selected Ollama model is no longer installed."_qs, { u"a"_qs, u"b"_qs } } },
    ReadinessCase { "oneModel", 200, "{\"models\":[{\"name\":\"a\"}]}", u"a"_qs,
        { State::ready, u"Ollama is running with 1 installed model."_qs, { u"a"_qs } } },
    ReadinessCase { "noModelChosenYet", 200, "{\"models\":[{\"name\":\"a\"},{\"name\":\"b\"}]}", u""_qs,
        { State::ready, u"Ollama is running with 2 installed models."_qs, { u"a"_qs, u"b"_qs } } });

// Each sign-in word, in any case, makes a failure a sign-in failure, whatever its type; other
// words do not.
TEST(AIProviderService, SignInWordsMakeASignInFailure)
{
    const std::pair<std::exception_ptr, bool> rows[] = {
        { std::make_exception_ptr(ProviderError::unavailable(u"Could not AUTHENTICATE you"_qs)), true },
        { std::make_exception_ptr(ProviderError::unavailable(u"Authentication required"_qs)), true },
        { std::make_exception_ptr(PlatformError(u"OAuth token expired"_qs)), true },
        { std::make_exception_ptr(ProviderError::unavailable(u"You are not signed in."_qs)), true },
        { std::make_exception_ptr(ProviderError::unavailable(u"Please log in again"_qs)), true },
        { std::make_exception_ptr(ProviderError::unavailable(u"The CLI process ended unexpectedly."_qs)), false },
        { std::make_exception_ptr(ProviderError::unavailable(u"Not logged in"_qs)), false },
        { std::make_exception_ptr(ProviderError::timedOut()), false },
    };
    for (const auto& [error, signIn] : rows)
        EXPECT_EQ(AIProviderService::isAuthenticationFailure(error), signIn) << describe(error).toStdString();
}

TEST(AIProviderService, PrepareSwallowsOllamaFailures)
{
    FakeHttpServer server;
    server.respondWith(FakeResponse::json(500, "{}"));
    AIProviderService service;
    EXPECT_NO_THROW(runTask(service.prepare(ProviderKind::ollama, { server.baseURL(), u"m"_qs })));
    EXPECT_NO_THROW(runTask(service.prepare(ProviderKind::ollama, { u"ftp://x"_qs, u"m"_qs })));
    EXPECT_EQ(server.requests().size(), 1);
}

} // namespace

namespace {

// Each agent program's own sign-in, in the terminal found; each terminal takes the command its way.
TEST(SignInCommand, RunsEachProgramsOwnSignInTheWayEachTerminalTakesIt)
{
    EXPECT_FALSE(brindlet::signInCommand(brindlet::ProviderKind::ollama));
    EXPECT_EQ(
        brindlet::signInCommand(brindlet::ProviderKind::claude)->second, (QStringList { u"auth"_qs, u"login"_qs }));
    EXPECT_EQ(brindlet::signInCommand(brindlet::ProviderKind::cursor)->first, u"cursor-agent"_qs);
    const QStringList login { u"login"_qs };
    const std::pair<const char*, const char*> terminals[] = { { "/usr/bin/x-terminal-emulator", "-e" },
        { "/usr/bin/gnome-terminal", "--" }, { "/usr/bin/xfce4-terminal", "-x" }, { "/usr/bin/xterm", "-e" } };
    for (const auto& [terminal, separator] : terminals) {
        const auto run = brindlet::inTerminal(QString::fromUtf8(terminal), u"/opt/codex"_qs, login);
        EXPECT_EQ(run.arguments, (QStringList { QString::fromUtf8(separator), u"/opt/codex"_qs, u"login"_qs }));
    }
}

} // namespace
