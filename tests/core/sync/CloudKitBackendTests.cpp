#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "FakeCloudKitServer.h"
#include "SyncDevice.h"
#include "core/base/EventLoopExecutor.h"
#include "core/sync/CloudKitSignIn.h"
#include "core/sync/CloudKitWebServicesBackend.h"

namespace wordloom {
namespace {

using test::FakeCloudKitServer;
using test::SyncDevice;

const std::string apiToken = "api-token-123";
const std::string container = "iCloud.com.corvelindahl.Wordloom";

class MemoryTokenStore final : public WebAuthTokenStore {
  public:
    std::optional<std::string> load() override {
        std::lock_guard lock(mutex);
        return token;
    }
    void save(const std::string& value) override {
        std::lock_guard lock(mutex);
        token = value;
    }
    void clear() override {
        std::lock_guard lock(mutex);
        token.reset();
    }
    std::mutex mutex;
    std::optional<std::string> token;
};

class CloudKitBackendTest : public ::testing::Test {
  protected:
    FakeCloudKitServer server{apiToken, container};
    test::TemporaryDirectory unused;
    SyncDevice a{unused.path(), "AAAAAAAA-0000-4000-8000-000000000001"};
    SyncDevice b{unused.path(), "BBBBBBBB-0000-4000-8000-000000000002"};
    std::shared_ptr<MemoryTokenStore> tokensA = std::make_shared<MemoryTokenStore>();
    std::shared_ptr<MemoryTokenStore> tokensB = std::make_shared<MemoryTokenStore>();

    std::shared_ptr<CloudKitWebServicesBackend> backend(
        std::shared_ptr<MemoryTokenStore> tokens,
        std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        CloudKitSettings settings;
        settings.apiToken = apiToken;
        settings.container = container;
        settings.baseURL = server.baseURL();
        settings.requestTimeout = timeout;
        return std::make_shared<CloudKitWebServicesBackend>(
            settings, std::make_shared<CurlHttpTransport>(), std::move(tokens));
    }

    void SetUp() override {
        // Both copies are signed in to the same account; the server hands each answer's
        // replacement token to whoever asked, and both share one account's token here.
        tokensA->save(server.issueToken());
        tokensB = tokensA;
        a.useBackend(backend(tokensA));
        b.useBackend(backend(tokensB));
    }
};

TEST_F(CloudKitBackendTest, AFirstSyncCreatesTheZoneAndUploadsTheLibrary) {
    const auto sig = a.add(";sig", "Best regards");
    a.add(";addr", "1 Main St");
    const auto report = a.syncNow();
    ASSERT_TRUE(report.succeeded) << report.error;
    EXPECT_TRUE(server.zoneExists());
    EXPECT_EQ(server.recordCount(), 2u);
    const auto stored = server.record(sig.id.toString());
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->recordType, "Snippet");
    EXPECT_EQ(stored->fields.at("abbreviation"), R"({"type":"STRING","value":";sig"})");
    EXPECT_EQ(stored->fields.at("isEnabled"), R"({"type":"INT64","value":1})");
    // Every answer rotated the token; the newest one was kept, or later requests would fail.
    EXPECT_EQ(tokensA->load(), server.latestToken());
    EXPECT_EQ(a.syncNow().uploaded, 0);
}

TEST_F(CloudKitBackendTest, IncrementalChangesDeletionsAndAnImageTravel) {
    const auto text = a.add(";t", "one");
    Snippet image;
    image.abbreviation = ";img";
    image.contentType = ContentType::image;
    image.imageData = Bytes{0x89, 'P', 'N', 'G', 1, 2, 3};
    a.store->add(image);
    const auto imageId = a.store->snippets().back().id;
    ASSERT_TRUE(a.syncNow().succeeded);
    auto report = b.syncNow();
    ASSERT_TRUE(report.succeeded) << report.error;
    EXPECT_EQ(report.downloaded, 2);
    EXPECT_EQ(b.images->read(imageId), (Bytes{0x89, 'P', 'N', 'G', 1, 2, 3}));

    const auto before = server.requestCount("changes/zone");
    a.edit(text.id, "two");
    a.store->deletePermanently(imageId);
    ASSERT_TRUE(a.syncNow().succeeded);
    report = b.syncNow();
    EXPECT_EQ(report.downloaded, 1);
    EXPECT_EQ(report.deletedLocally, 1);
    EXPECT_EQ(b.store->snippet(text.id)->content, "two");
    EXPECT_EQ(b.store->snippet(imageId), nullptr);
    EXPECT_GT(server.requestCount("changes/zone"), before);
}

TEST_F(CloudKitBackendTest, AConflictAnswerIsLookedUpSettledAndRetried) {
    const auto id = a.add(";c", "v1").id;
    ASSERT_TRUE(a.syncNow().succeeded);
    a.executor.advance(std::chrono::seconds(5));
    a.edit(id, "local edit, later");
    // Another device writes between this copy's fetch and its upload: the upload's change tag
    // is stale and the server answers CONFLICT without its copy.
    server.beforeNextModify([&] { server.editField(id.toString(), "content", "remote edit"); });
    const auto report = a.syncNow();
    ASSERT_TRUE(report.succeeded) << report.error;
    EXPECT_EQ(report.conflictsSettled, 1);
    EXPECT_GE(server.requestCount("records/lookup"), 1);
    // mostRecent: the local edit is newer than the remote one's modifiedAt (unchanged there).
    EXPECT_EQ(server.record(id.toString())->fields.at("content"),
              R"({"type":"STRING","value":"local edit, later"})");
    bool remoteKept = false;
    for (const auto& version : a.versions->versions(id)) {
        remoteKept = remoteKept || version.content == "remote edit";
    }
    EXPECT_TRUE(remoteKept);
}

TEST_F(CloudKitBackendTest, AnExpiredSignInIsAnErrorThatKeepsTheOutbox) {
    a.add(";x", "one");
    server.expireTokens();
    const auto report = a.syncNow();
    EXPECT_FALSE(report.succeeded);
    EXPECT_NE(report.error.find("sign in again"), std::string::npos);
    EXPECT_EQ(a.sync->syncStatus().kind, SyncStatus::Kind::error);
    EXPECT_EQ(a.sync->outboxState().changes.size(), 1u);
    tokensA->save(server.issueToken());
    EXPECT_EQ(a.syncNow().uploaded, 1);
}

TEST_F(CloudKitBackendTest, ThrottlingSaysWhenToComeBack) {
    a.add(";x", "one");
    ASSERT_TRUE(a.syncNow().succeeded);  // the zone exists now
    a.add(";y", "two");
    server.throttleNext(7);
    const auto report = a.syncNow();
    EXPECT_FALSE(report.succeeded);
    ASSERT_TRUE(report.retryAfter);
    EXPECT_EQ(*report.retryAfter, std::chrono::seconds(7));
    EXPECT_EQ(a.sync->outboxState().changes.size(), 1u);
}

TEST_F(CloudKitBackendTest, AHangingServerNeverBlocksTheMainQueue) {
    // The real event loop of the command line, with a short request deadline.
    EventLoopExecutor loop;
    iCloudSyncService service(loop, *a.store, *a.versions, *a.images, *a.defaults, a.home / "data");
    service.setBackend(backend(tokensA, std::chrono::milliseconds(800)));
    server.setHanging(true);
    std::optional<SyncPassReport> report;
    bool mainQueueRan = false;
    service.syncNow([&](const SyncPassReport& r) { report = r; });
    loop.post([&] { mainQueueRan = !report.has_value(); });
    ASSERT_TRUE(loop.runUntil([&] { return report.has_value(); }, std::chrono::seconds(20)));
    server.setHanging(false);
    EXPECT_TRUE(mainQueueRan);  // ran while the request was still waiting
    EXPECT_FALSE(report->succeeded);
    EXPECT_NE(report->error.find("No answer"), std::string::npos) << report->error;
}

TEST_F(CloudKitBackendTest, SignInTakesTheTokenFromTheLoopbackCallback) {
    tokensA->clear();
    auto ck = backend(tokensA);
    // A free port for the callback.
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    const int port = ntohs(address.sin_port);
    ::close(probe);

    std::string opened;
    std::thread browser;
    CloudKitSignInOptions options;
    options.callbackPort = port;
    options.deadline = std::chrono::seconds(20);
    options.openBrowser = [&](const std::string& url) {
        opened = url;
        // The user signs in; Apple's page sends the browser to the callback with the token.
        const auto token = server.issueToken();
        browser = std::thread([port, token] {
            const auto request = [&](const std::string& target) {
                const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
                sockaddr_in to{};
                to.sin_family = AF_INET;
                to.sin_port = htons(static_cast<std::uint16_t>(port));
                to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
                ::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to);
                const auto line = "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n";
                ::send(fd, line.data(), line.size(), MSG_NOSIGNAL);
                char buffer[512];
                while (::recv(fd, buffer, sizeof buffer, 0) > 0) {
                }
                ::close(fd);
            };
            request("/favicon.ico");
            request("/wordloom/ck-callback?ckWebAuthToken=" + percentEncode(token) +
                    "&ckSession=abc");
        });
        return true;
    };
    const auto user = signInToCloudKit(*ck, *tokensA, options);
    browser.join();
    EXPECT_EQ(opened, "https://idmsa.example/auth?x=1");
    EXPECT_EQ(user, "_fakeuser");
    EXPECT_EQ(tokensA->load(), server.latestToken());
}

TEST(CloudKitErrors, AreSaidInPlainWords) {
    EXPECT_EQ(cloudKitErrorMessage(200, ""), std::nullopt);
    EXPECT_NE(cloudKitErrorMessage(403, R"({"serverErrorCode":"ACCESS_DENIED"})")
                  ->find("Advanced Data Protection"),
              std::string::npos);
    EXPECT_NE(cloudKitErrorMessage(421, R"({"serverErrorCode":"AUTHENTICATION_REQUIRED"})")
                  ->find("wordloom sync sign-in"),
              std::string::npos);
    EXPECT_EQ(*cloudKitErrorMessage(500, R"({"serverErrorCode":"INTERNAL_ERROR","reason":"x"})"),
              "CloudKit answered INTERNAL_ERROR: x");
    EXPECT_EQ(*cloudKitErrorMessage(502, "<html>"), "CloudKit answered with HTTP status 502.");
}

TEST(Percent, EncodesTokensAndDecodesQueries) {
    EXPECT_EQ(percentEncode("a+b/c=d e"), "a%2Bb%2Fc%3Dd%20e");
    EXPECT_EQ(percentDecode("a%2Bb%2fc+d%zz%4"), "a+b/c d%zz%4");
}

}  // namespace
}  // namespace wordloom
