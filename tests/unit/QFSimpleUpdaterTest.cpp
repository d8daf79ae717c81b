// SPDX-License-Identifier: MIT
// The update check: request body, outcomes, threads, lifetime.
#include "QFSimpleUpdater.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWLogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

const std::string kEndpoint = "https://updates.quillfen.net/updates/simpleupdate.php";

// A transport that answers every request from a thread of its own, as a network session does.
class FakeTransport : public TWHTTPTransport {
  public:
    explicit FakeTransport(std::optional<std::string> answer) : answer_(std::move(answer)) {}
    ~FakeTransport() override {
        // The last owner may be an updater freed on one of these threads; that thread is
        // finishing anyway and cannot join itself.
        for (auto& t : threads_) {
            if (t.get_id() == std::this_thread::get_id())
                t.detach();
            else
                t.join();
        }
    }

    // True once every request made so far has been answered.
    bool idle() {
        std::lock_guard lock(mutex_);
        return completed.load() == static_cast<int>(requests.size());
    }

    void post(const std::string& url, std::string body,
              std::function<void(std::optional<std::string>)> completion) override {
        std::lock_guard lock(mutex_);
        requests.push_back({url, body, std::this_thread::get_id()});
        threads_.emplace_back([this, completion = std::move(completion)]() mutable {
            {
                std::lock_guard inner(mutex_);
                completionThreads.push_back(std::this_thread::get_id());
            }
            completion(answer_);
            // Dropping the completion may free the updater; it happens before `completed`
            // counts, so a test that waited for `completed` still owns this transport.
            completion = nullptr;
            completed.fetch_add(1);
        });
    }

    struct Request {
        std::string url;
        std::string body;
        std::thread::id thread;
    };
    std::vector<Request> requests;
    std::vector<std::thread::id> completionThreads;
    std::atomic<int> completed{0};

  private:
    std::optional<std::string> answer_;
    std::mutex mutex_;
    std::vector<std::thread> threads_;
};

// The test's own thread plays the main thread: work sent from other threads waits until the
// test pumps the queue.
class FakeMainQueue : public TWMainQueue {
  public:
    void dispatchSync(std::function<void()> work) override {
        if (isMainThread()) {
            work();
            return;
        }
        std::unique_lock lock(mutex_);
        bool done = false;
        tasks_.push_back([&] {
            work();
            std::lock_guard inner(mutex_);
            done = true;
            cv_.notify_all();
        });
        cv_.notify_all();
        cv_.wait(lock, [&] { return done; });
    }
    bool isMainThread() const override { return std::this_thread::get_id() == main_; }

    // Runs queued work on this thread until `done` holds; false when it never does.
    bool pumpUntil(const std::function<bool()>& done) {
        auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!done()) {
            std::function<void()> task;
            {
                std::unique_lock lock(mutex_);
                if (!cv_.wait_until(lock, deadline, [&] { return !tasks_.empty(); }))
                    return false;
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
        return true;
    }

  private:
    std::thread::id main_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable cv_;
    std::deque<std::function<void()>> tasks_;
};

struct Check {
    std::shared_ptr<FakeTransport> transport;
    std::shared_ptr<FakeMainQueue> mainQueue = std::make_shared<FakeMainQueue>();
    std::vector<TWError> results;
    std::vector<bool> onMainThread;

    explicit Check(std::optional<std::string> answer)
        : transport(std::make_shared<FakeTransport>(std::move(answer))) {}
    ~Check() { finishTransport(); }

    // Waits for every answer to have been delivered, then joins the transport's threads.
    void finishTransport() {
        if (!transport)
            return;
        for (int i = 0; i < 4000 && !transport->idle(); ++i)
            std::this_thread::sleep_for(5ms);
        transport.reset();
    }

    TWUpdaterServices services(std::optional<std::string> name = "Tidewell",
                               std::optional<std::string> version = "1.0.0",
                               std::optional<std::string> os = "12") {
        TWUpdaterServices s;
        s.transport = transport;
        s.mainQueue = mainQueue;
        s.bundleName = std::move(name);
        s.shortVersion = std::move(version);
        s.systemVersionString = [os] { return os; };
        s.endpoint = kEndpoint;
        return s;
    }
    QFSimpleUpdater::CompletionHandler handler() {
        return [this](const TWError& error) {
            results.push_back(error);
            onMainThread.push_back(mainQueue->isMainThread());
        };
    }
    bool waitForResult() {
        return mainQueue->pumpUntil([this] { return !results.empty(); });
    }
};

std::string text(const TWError& error, const char* key) {
    return error.stringForKey(key).value_or("<absent>");
}

} // namespace

TEST(QFSimpleUpdaterRequest, BodyEscapesOnlySpacesAndAMissingValueEndsTheList) {
    auto args = QFSimpleUpdater::argumentsWithValues("Tide well & Co=1+2", "2.0 beta 3",
                                                     "Debian GNU/Linux 12 (bookworm) ü");
    EXPECT_EQ(QFSimpleUpdater::requestBody(args),
              "app=Tide_well_&_Co=1+2&version=2.0_beta_3&os_version=Debian_GNU/"
              "Linux_12_(bookworm)_ü");
    // Everything after a missing value is left out, and prints as "(null)".
    EXPECT_EQ(QFSimpleUpdater::requestBody(
                  QFSimpleUpdater::argumentsWithValues("Tidewell", std::nullopt, "12")),
              "app=Tidewell&version=(null)&os_version=(null)");
    EXPECT_TRUE(QFSimpleUpdater::argumentsWithValues(std::nullopt, "1.0", "12").empty());
    EXPECT_EQ(QFSimpleUpdater::requestBody(
                  QFSimpleUpdater::argumentsWithValues("Tidewell", "1.0", std::nullopt)),
              "app=Tidewell&version=1.0&os_version=(null)");
}

namespace {
enum class Outcome { Available, Current, Failed };

struct OutcomeCase {
    const char* label;
    std::optional<std::string> answer;
    Outcome expected;
};

const OutcomeCase kOutcomes[] = {
    {"link on the endpoint host", "https://updates.quillfen.net/download/Tidewell-2.0.zip",
     Outcome::Available},
    {"same host, port and user", "HTTPS://me@updates.quillfen.net:8080/x?y=1#z",
     Outcome::Available},
    {"same host, plain http", "http://updates.quillfen.net/x.zip", Outcome::Current},
    {"same host, file scheme", "file://updates.quillfen.net/etc/passwd", Outcome::Current},
    {"same host, smb scheme", "smb://updates.quillfen.net/share/x.desktop", Outcome::Current},
    {"host differs in case", "https://Updates.Quillfen.net/x.zip", Outcome::Current},
    {"other host", "https://example.org/Tidewell-2.0.zip", Outcome::Current},
    {"host that only begins like the endpoint's", "https://updates.quillfen.net.example.org/x",
     Outcome::Current},
    {"link with a trailing newline (no trimming)", "https://updates.quillfen.net/x.zip\n",
     Outcome::Current},
    {"host-less text", "updates.quillfen.net/x.zip", Outcome::Current},
    {"empty body", "", Outcome::Current},
    {"error page", "<html><body>500 Internal Server Error</body></html>", Outcome::Current},
    {"no data", std::nullopt, Outcome::Failed},
    {"invalid UTF-8", std::string("https://updates.quillfen.net/\xff\xfe"), Outcome::Failed},
    {"overlong UTF-8", std::string("\xc0\xaf"), Outcome::Failed},
    {"truncated UTF-8", std::string("abc\xe2\x82"), Outcome::Failed},
    {"valid non-ASCII text", std::string("Kein Update \xc3\xbc"), Outcome::Current},
};
} // namespace

TEST(QFSimpleUpdaterResult, EachAnswerGivesItsOutcome) {
    for (const OutcomeCase& c : kOutcomes) {
        SCOPED_TRACE(c.label);
        const TWError error = QFSimpleUpdater::resultForResponse(c.answer, "Tide well", kEndpoint);
        EXPECT_EQ(error.domain, "net.quillfen.updater");
        EXPECT_EQ(error.code, -1);
        switch (c.expected) {
        case Outcome::Available:
            EXPECT_EQ(text(error, TWLocalizedDescriptionKey),
                      "There is an update to Tide well available online.");
            EXPECT_EQ(text(error, TWLocalizedRecoverySuggestionErrorKey), "");
            EXPECT_EQ(*TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey),
                      TWPlistValue(TWPlistArray{"Download", "Cancel"}));
            EXPECT_EQ(text(error, TWURLErrorKey), *c.answer);
            EXPECT_EQ(error.userInfo.size(), 4u);
            break;
        case Outcome::Current:
            EXPECT_EQ(text(error, TWLocalizedDescriptionKey),
                      "You have the current version of Tide well.");
            EXPECT_EQ(text(error, TWLocalizedRecoverySuggestionErrorKey),
                      "No updates are available.");
            EXPECT_EQ(error.userInfo.size(), 2u);
            break;
        case Outcome::Failed:
            EXPECT_EQ(text(error, TWLocalizedDescriptionKey),
                      "An error occurred while checking for an update.");
            EXPECT_EQ(text(error, TWLocalizedRecoverySuggestionErrorKey),
                      "Please check your internet connection and try again.");
            EXPECT_EQ(error.userInfo.size(), 2u);
            break;
        }
    }
}

TEST(QFSimpleUpdaterResult, NamesTextsAndEndpointsWithoutAHost) {
    EXPECT_EQ(text(QFSimpleUpdater::resultForResponse("", std::nullopt, kEndpoint),
                   TWLocalizedDescriptionKey),
              "You have the current version of (null).");
    // Two missing hosts are not equal hosts.
    EXPECT_EQ(text(QFSimpleUpdater::resultForResponse("mailto:x", "Tidewell", "not an endpoint"),
                   TWLocalizedDescriptionKey),
              "You have the current version of Tidewell.");
    // Texts are looked up before the name is filled in.
    TWSetLocalizer([](std::string_view key) -> std::string {
        if (key == "There is an update to %@ available online.")
            return "Für %@ gibt es ein Update.";
        return key == "Download" ? "Laden" : "";
    });
    TWError error =
        QFSimpleUpdater::resultForResponse("https://updates.quillfen.net/x", "Tidewell", kEndpoint);
    TWSetLocalizer({});
    EXPECT_EQ(text(error, TWLocalizedDescriptionKey), "Für Tidewell gibt es ein Update.");
    EXPECT_EQ(*TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey),
              TWPlistValue(TWPlistArray{"Laden", "Cancel"}));
}

TEST(QFSimpleUpdaterDelivery, OneCallOnTheMainThreadWhileTheUpdaterLivesThenItIsFreed) {
    Check check("https://updates.quillfen.net/x");
    std::weak_ptr<QFSimpleUpdater> weak;
    bool aliveInHandler = false;
    auto handler = check.handler();
    // The system version is read on this thread, the body posted from another one.
    std::thread::id readOn;
    auto services = check.services("My App", "1.2");
    services.systemVersionString = [&readOn]() -> std::optional<std::string> {
        readOn = std::this_thread::get_id();
        return "Ubuntu 24.04 LTS";
    };
    auto updater = std::make_shared<QFSimpleUpdater>(
        [&](const TWError& error) {
            aliveInHandler = !weak.expired();
            handler(error);
        },
        services);
    weak = updater;
    updater->start();
    updater.reset();

    ASSERT_TRUE(check.waitForResult());
    auto transport = check.transport;
    check.finishTransport(); // every completion has finished
    ASSERT_EQ(check.results.size(), 1u);
    EXPECT_TRUE(check.onMainThread.at(0));
    EXPECT_TRUE(aliveInHandler);
    EXPECT_TRUE(weak.expired());
    ASSERT_EQ(transport->completionThreads.size(), 1u);
    EXPECT_NE(transport->completionThreads[0], std::this_thread::get_id());
    EXPECT_EQ(readOn, std::this_thread::get_id());
    ASSERT_EQ(transport->requests.size(), 1u);
    EXPECT_EQ(transport->requests[0].url, kEndpoint);
    EXPECT_EQ(transport->requests[0].body, "app=My_App&version=1.2&os_version=Ubuntu_24.04_LTS");
    EXPECT_NE(transport->requests[0].thread, std::this_thread::get_id());
}

TEST(QFSimpleUpdaterDelivery, TheClassMethodWithoutAHandlerOrATransport) {
    // The configured services; without a handler the request is still sent, nothing called.
    Check check("https://updates.quillfen.net/y");
    QFSimpleUpdater::configure(check.services("Configured", "9"));
    QFSimpleUpdater::checkForUpdateWithCompletionHandler(check.handler());
    QFSimpleUpdater::checkForUpdateWithCompletionHandler(nullptr);
    QFSimpleUpdater::configure({});
    ASSERT_TRUE(check.waitForResult());
    for (int i = 0; i < 4000 && check.transport->completed.load() < 2; ++i)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(check.transport->completed.load(), 2);
    EXPECT_EQ(check.results.size(), 1u);
    EXPECT_EQ(check.transport->requests.at(0).body, "app=Configured&version=9&os_version=12");
    EXPECT_EQ(text(check.results.at(0), TWURLErrorKey), "https://updates.quillfen.net/y");

    // No transport: the failed outcome, and a line saying why.
    TWLogCapture log;
    Check none("");
    auto services = none.services();
    services.transport = nullptr;
    std::make_shared<QFSimpleUpdater>(none.handler(), services)->start();
    ASSERT_TRUE(none.waitForResult());
    EXPECT_EQ(text(none.results.at(0), TWLocalizedDescriptionKey),
              "An error occurred while checking for an update.");
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ(log.lines[0].rfind("QFSimpleUpdater: ", 0), 0u);
}
