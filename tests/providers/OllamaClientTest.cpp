#include "providers/OllamaClient.h"
#include "net/HttpExchange.h"
#include "providers/OllamaStreamChunk.h"
#include "support/EventLoop.h"
#include "support/FakeHttpServer.h"

#include "providers/ProviderError.h"
#include <QNetworkProxyFactory>

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;
using namespace std::chrono_literals;

namespace {

class OllamaClientTest : public ::testing::Test {
protected:
    FakeHttpServer server;
    OllamaClient client;
    QStringList previews;
    ProviderConfiguration configuration() const { return { server.baseURL(), u"llama3.2"_qs }; }
    Task<QString> generate(ProviderConfiguration conf, QString prompt = u"p"_qs)
    {
        return client.generate(std::move(prompt), std::move(conf), [this](QString text) {
            previews << text;
            return finishedTask();
        });
    }
};

TEST_F(OllamaClientTest, StreamsWholeTextSoFarAndReturnsItTrimmed)
{
    server.respondWith(FakeResponse::stream({ u"  Hello"_qs, u", wörld/"_qs, u" 👋\n"_qs }, 5ms));
    const QString text = runTask(generate(configuration(), u"say \"hi\"/\n"_qs));
    EXPECT_EQ(text, u"Hello, wörld/ 👋"_qs);
    EXPECT_EQ(previews, (QStringList { u"  Hello"_qs, u"  Hello, wörld/"_qs, u"  Hello, wörld/ 👋\n"_qs }));

    ASSERT_EQ(server.requests().size(), 1);
    const RecordedRequest& request = server.requests()[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/api/generate");
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    EXPECT_EQ(request.body,
        QByteArray("{\"model\":\"llama3.2\",\"prompt\":\"say \\\"hi\\\"\\/\\n\",\"stream\":true,\"think\":false,"
                   "\"keep_alive\":-1}"));
}

TEST_F(OllamaClientTest, WhitespaceOnlyStreamIsEmptyAfterPreviews)
{
    server.respondWith(FakeResponse::stream({ u" "_qs, u"\n\n"_qs }));
    EXPECT_EQ(runOutcome(generate(configuration())), u"The provider returned an empty response."_qs);
    EXPECT_EQ(previews.size(), 2);
}

struct FailureCase : NamedRow {
    std::function<FakeResponse()> response;
    QString expected;
};

class OllamaStreamFailures : public OllamaClientTest, public ::testing::WithParamInterface<FailureCase> { };

TEST_P(OllamaStreamFailures, GiveTheExactWords)
{
    server.respondWith(GetParam().response());
    EXPECT_EQ(runOutcome(generate(configuration())), GetParam().expected);
}

const QString decodeFailure = u"The data couldn’t be read because it isn’t in the correct format."_qs;

BRINDLET_ROWS(Ollama, OllamaStreamFailures,
    FailureCase { "doneStopsReading",
        [] {
            return FakeResponse::lines({ "{\"response\":\"A\",\"done\":true}", "{\"response\":\"B\"}" });
        },
        u"ok:A"_qs },
    FailureCase { "noDoneLineGivesWhatCame",
        [] {
            return FakeResponse::stream({ u"partial "_qs, u"answer"_qs }, 0ms, false);
        },
        u"ok:partial answer"_qs },
    FailureCase { "emptyErrorAndNullsAreNoFailure",
        [] {
            return FakeResponse::lines({ "{\"response\":\"ok\",\"error\":\"\",\"done\":null}", "{\"done\":true}" });
        },
        u"ok:ok"_qs },
    FailureCase { "serverError", [] { return FakeResponse::json(500, "{\"error\":\"boom\"}"); },
        u"Ollama could not complete the request."_qs },
    FailureCase { "otherSuccessStatus", [] { return FakeResponse::json(201, "{\"response\":\"x\",\"done\":true}"); },
        u"Ollama could not complete the request."_qs },
    FailureCase { "notFound", [] { return FakeResponse::json(404, "{\"error\":\"model 'x' not found\"}"); },
        u"Ollama could not complete the request."_qs },
    FailureCase { "errorLineMidStream",
        [] {
            return FakeResponse::lines({ "{\"response\":\"a\"}", "{\"error\":\"model requires more system memory\"}" });
        },
        u"model requires more system memory"_qs },
    FailureCase { "badJson",
        [] {
            return FakeResponse::lines({ "{\"response\":\"a\"}", "not json" });
        },
        decodeFailure },
    FailureCase { "wrongType", [] { return FakeResponse::lines({ "{\"response\":5}" }); }, decodeFailure },
    FailureCase { "doneNotBoolean", [] { return FakeResponse::lines({ "{\"response\":\"a\",\"done\":\"yes\"}" }); },
        decodeFailure },
    FailureCase { "invalidUtf8", [] { return FakeResponse::lines({ "{\"response\":\"\xff\xfe\"}" }); },
        u"Ollama returned an invalid streaming response."_qs },
    FailureCase { "droppedMidStream",
        [] {
            FakeResponse response = FakeResponse::stream({ u"half"_qs }, 0ms, false);
            response.dropAfterChunks = true;
            return response;
        },
        u"Connection closed"_qs });

struct AddressCase : NamedRow {
    QString url;
    QString model;
    QString expected; // "ok:ok" when the request reaches the server
};

class OllamaAddresses : public OllamaClientTest, public ::testing::WithParamInterface<AddressCase> { };

TEST_P(OllamaAddresses, AreValidatedBeforeAnyRequest)
{
    server.respondWith(FakeResponse::stream({ u"ok"_qs }));
    QString url = GetParam().url;
    url.replace(u"PORT"_qs, QString::number(server.port()));
    url.replace(u"CLOSED"_qs, QString::number(closedLoopbackPort()));
    EXPECT_EQ(runOutcome(generate({ url, GetParam().model })), GetParam().expected);
    EXPECT_EQ(server.requests().size(), GetParam().expected == u"ok:ok"_qs ? 1 : 0);
}

const QString invalidURL = u"The provider address must be a valid HTTP or HTTPS URL."_qs;

BRINDLET_ROWS(Ollama, OllamaAddresses,
    AddressCase {
        "modelCheckComesFirst", u"ftp://nowhere"_qs, u""_qs, u"Choose an installed Ollama model in Settings."_qs },
    AddressCase { "ftpScheme", u"ftp://127.0.0.1:PORT"_qs, u"m"_qs, invalidURL },
    AddressCase { "hostAndPortWithoutScheme", u"127.0.0.1:PORT"_qs, u"m"_qs, invalidURL },
    AddressCase { "noHost", u"http://"_qs, u"m"_qs, invalidURL },
    AddressCase { "garbage", u"not a url at all"_qs, u"m"_qs, invalidURL },
    AddressCase { "capitalSchemePasses", u"HTTP://127.0.0.1:PORT"_qs, u"m"_qs, u"ok:ok"_qs },
    AddressCase { "localhostPasses", u"http://localhost:PORT/"_qs, u"m"_qs, u"ok:ok"_qs },
    // Nothing listens there: the platform's words.
    AddressCase { "closedPort", u"http://127.0.0.1:CLOSED"_qs, u"m"_qs, u"Connection refused"_qs });

TEST(OllamaEndpoint, KeepsABasePathAndAddsOneSlash)
{
    EXPECT_EQ(OllamaClient::endpoint(u"http://h:1"_qs, u"api/tags"_qs).toString(), u"http://h:1/api/tags"_qs);
    EXPECT_EQ(OllamaClient::endpoint(u"http://h:1/"_qs, u"api/tags"_qs).toString(), u"http://h:1/api/tags"_qs);
    EXPECT_EQ(OllamaClient::endpoint(u"https://h/ollama"_qs, u"api/generate"_qs).toString(),
        u"https://h/ollama/api/generate"_qs);
}

TEST_F(OllamaClientTest, LoopbackServersAreNeverReachedThroughAProxy)
{
    // A proxy that refuses every connection: a request that went through it would fail.
    const QByteArray proxy = "http://127.0.0.1:" + QByteArray::number(closedLoopbackPort());
    qputenv("http_proxy", proxy);
    qputenv("HTTP_PROXY", proxy);
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    server.respondWith(FakeResponse::stream({ u"direct"_qs }));
    const QString text = runTask(generate(configuration()));
    QNetworkProxyFactory::setUseSystemConfiguration(false);
    qunsetenv("http_proxy");
    qunsetenv("HTTP_PROXY");
    EXPECT_EQ(text, u"direct"_qs);
}

TEST_F(OllamaClientTest, CancellationAbortsTheRequest)
{
    FakeResponse response = FakeResponse::stream({ u"first"_qs, u"never"_qs }, 0ms, false);
    response.chunks[1].delay = 10s;
    server.respondWith(response);
    QString outcome;
    TaskHandle handle = spawnOutcome(generate(configuration()), &outcome);
    ASSERT_TRUE(runUntil([&] { return !previews.isEmpty(); }));
    handle.cancel();
    ASSERT_TRUE(runUntil([&] { return !outcome.isEmpty(); }, 2s));
    EXPECT_EQ(outcome, u"The operation was cancelled."_qs);
    EXPECT_TRUE(runUntil([&] { return server.openConnections() == 0; }, 2s));
}

TEST_F(OllamaClientTest, PreloadSendsNoPromptAndChecksTheStatus)
{
    server.respondWith(FakeResponse::json(200, "{\"model\":\"llama3.2\",\"done\":true}"));
    runTask(client.preload(configuration()));
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests()[0].body, QByteArray("{\"model\":\"llama3.2\",\"stream\":false,\"keep_alive\":-1}"));

    runTask(client.preload({ u"ftp://bad"_qs, u""_qs })); // no model: nothing at all, not even validation
    EXPECT_EQ(server.requests().size(), 1);

    server.respondWith(FakeResponse::json(404, "{}"));
    EXPECT_EQ(runOutcome(client.preload(configuration())), u"Ollama could not preload the selected model."_qs);
}

TEST_F(OllamaClientTest, ModelsAreSortedByCodePoint)
{
    server.respondWith(FakeResponse::json(200,
        "{\"models\":[{\"name\":\"mistral:7b\",\"size\":1},{\"name\":\"Zeta\"},{\"name\":\"alpha\"},"
        "{\"name\":\"\xc3\xa9t\xc3\xa9\"},{\"name\":\"llama3.2:latest\",\"details\":{}}],\"extra\":true}"));
    EXPECT_EQ(runTask(client.models(server.baseURL())),
        (QStringList { u"Zeta"_qs, u"alpha"_qs, u"llama3.2:latest"_qs, u"mistral:7b"_qs, u"été"_qs }));
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].path, "/api/tags");
}

TEST_F(OllamaClientTest, ModelListFailures)
{
    server.respondWith(FakeResponse::json(503, "{}"));
    EXPECT_EQ(runOutcome(client.models(server.baseURL())), u"Ollama did not respond."_qs);
    server.respondWith(FakeResponse::json(200, "{\"models\":[{\"size\":3}]}"));
    EXPECT_EQ(runOutcome(client.models(server.baseURL())), decodeFailure);
    server.respondWith(FakeResponse::json(200, "{}"));
    EXPECT_EQ(runOutcome(client.models(server.baseURL())), decodeFailure);
    EXPECT_EQ(runOutcome(client.models(u"ftp://x"_qs)), invalidURL);
}

} // namespace

namespace {

// Status, then the lines, or the error's words.
Task<QString> readExchange(QUrl url)
{
    HttpRequest request;
    request.url = std::move(url);
    HttpExchange exchange(std::move(request));
    const int status = co_await exchange.status();
    QStringList parts;
    parts << QString::number(status);
    while (auto line = co_await exchange.nextLine())
        parts << QString::fromUtf8(*line);
    co_return parts.join(u'|');
}

// Every way a reply can be framed, cut at every byte; and replies that are not HTTP.
TEST_F(OllamaClientTest, RepliesAreReadWhateverTheirFramingAndPieces)
{
    const QByteArray chunked = "HTTP/1.1 200 OK\r\ntransfer-encoding: Chunked\r\n\r\n"
                               "4;x=y\r\none\n\r\n6\r\ntwo\r\nt\r\n4\r\nhree\r\n0\r\nTrailer: 1\r\n\r\n";
    const std::tuple<const char*, QByteArray, std::chrono::milliseconds, QString> cases[] = {
        { "contentLength", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\none\ntwo\r\nextra", 0ms, u"ok:200|one|two"_qs },
        { "untilClose", "HTTP/1.0 404 Not Found\r\n\r\none\n\ntwo", 0ms, u"ok:404|one|two"_qs },
        { "chunkedInPieces", chunked, 1ms, u"ok:200|one|two|three"_qs },
        { "interimAnswerFirst", "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nok\n", 0ms,
            u"ok:200|ok"_qs },
        { "notHttp", "SSH-2.0-OpenSSH_9.2\r\n\r\n", 0ms, u"The server's reply is not valid HTTP."_qs },
        { "badChunkSize", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 0ms,
            u"The server's reply is not valid HTTP."_qs },
        { "closedInTheHead", "HTTP/1.1 200 OK\r\nContent-Le", 0ms, u"Connection closed"_qs },
        { "closedInAChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nabc\n", 0ms,
            u"Connection closed"_qs },
    };
    for (const auto& [name, reply, delay, expected] : cases) {
        server.respondWith(FakeResponse::bytes(reply, delay));
        EXPECT_EQ(runOutcome(readExchange(QUrl(server.baseURL()))), expected) << name;
    }
}

TEST(OllamaStreamChunk, IsStrictJson)
{
    const std::pair<QByteArray, std::optional<QString>> cases[] = {
        { R"({"model":"m","response":"caf\u00e9 \ud83d\ude00\n\"/","done":false})", u"café 😀\n\"/"_qs },
        { R"( { "context" : [1, -2.5e3, {"a": [true, null]}], "respons\u0065" : "x" } )", u"x"_qs },
        { R"({"response":"first","response":"last","done":true})", u"last"_qs },
        { R"({"response":null,"error":null,"done":null})", u""_qs },
        { R"({"response":"x"} trailing)", std::nullopt },
        { R"({"response":"x",})", std::nullopt },
        { R"({"n":01})", std::nullopt },
        { R"({"n":1.})", std::nullopt },
        { R"({"response":"unterminated})", std::nullopt },
        { "{\"response\":\"raw\ttab\"}", std::nullopt },
        { R"({"response":"\x41"})", std::nullopt },
        { R"({"response" "x"})", std::nullopt },
        { R"(["response","x"])", std::nullopt },
        { R"({'response':'x'})", std::nullopt },
        { R"({"n":NaN})", std::nullopt },
        { R"({"done":tru})", std::nullopt },
        { R"({"done":"true"})", std::nullopt },
        { R"({"error":{}})", std::nullopt },
        { "{\"deep\":" + QByteArray(1100, '[') + QByteArray(1100, ']') + "}", std::nullopt },
    };
    for (const auto& [line, response] : cases) {
        QString text = u"so far "_qs; // what the line's response is appended to
        const auto chunk = parseOllamaStreamChunk(line, text);
        EXPECT_EQ(chunk ? std::optional(text) : std::nullopt,
            response ? std::optional(u"so far "_qs + *response) : std::nullopt)
            << line.toStdString();
        if (!chunk)
            EXPECT_EQ(text, u"so far "_qs) << line.toStdString();
        else
            EXPECT_EQ(chunk->responseLength, response->size()) << line.toStdString();
    }
}

} // namespace
