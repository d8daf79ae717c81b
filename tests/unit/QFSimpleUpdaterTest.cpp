// SPDX-License-Identifier: MIT
// The update check: request body, outcomes, threads, lifetime.
#include "QFSimpleUpdater.h"
#include "TWLocalizedString.h"
#include "TWLog.h"
#include "TWLogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

const std::string kEndpoint = "https://updates.quillfen.net/updates/simpleupdate.php";

// A transport that answers every request from a thread of its own, as a network session does.
struct FakeTransport : TWHTTPTransport {
    explicit FakeTransport(std::optional<std::string> answer) : answer_(std::move(answer)) {}
    void post(const std::string& url, std::string body,
              std::function<void(std::optional<std::string>)> completion) override {
        std::lock_guard lock(mutex_);
        requests.push_back({url, body, std::this_thread::get_id()});
        answers_.push_back(
            std::async(std::launch::async, [this, completion = std::move(completion)]() mutable {
                completion(answer_);
                completion = nullptr; // may free the updater, before the answer counts
                std::lock_guard inner(mutex_);
                ++answered;
                done_.notify_all();
            }));
    }
    bool waitFor(std::size_t n) {
        std::unique_lock lock(mutex_);
        return done_.wait_for(lock, 20s, [&] { return answered == n; });
    }

    struct Request {
        std::string url, body;
        std::thread::id thread;
    };
    std::vector<Request> requests;
    std::size_t answered = 0;

  private:
    std::optional<std::string> answer_;
    std::mutex mutex_;
    std::condition_variable done_;
    std::vector<std::future<void>> answers_; // joined when the transport goes
};

// The test's own thread plays the main thread: the work sent from another thread (one call at
// most: a second one throws and ends the program) waits until the test runs it.
struct FakeMainQueue : TWMainQueue {
    void dispatchSync(std::function<void()> work) override {
        if (isMainThread())
            return work();
        std::packaged_task<void()> task(std::move(work));
        auto done = task.get_future();
        sent_.set_value(&task);
        done.wait();
    }
    bool isMainThread() const override { return std::this_thread::get_id() == main_; }
    // Runs the work sent from another thread on this one; false when none comes.
    bool runSent() {
        auto sent = sent_.get_future();
        if (sent.wait_for(20s) != std::future_status::ready)
            return false;
        (*sent.get())();
        return true;
    }

  private:
    std::thread::id main_ = std::this_thread::get_id();
    std::promise<std::packaged_task<void()>*> sent_;
};

struct Check {
    std::shared_ptr<FakeTransport> transport;
    std::shared_ptr<FakeMainQueue> mainQueue = std::make_shared<FakeMainQueue>();
    std::vector<TWError> results;
    std::vector<bool> onMainThread;

    explicit Check(std::optional<std::string> answer)
        : transport(std::make_shared<FakeTransport>(std::move(answer))) {}
    TWUpdaterServices services(const char* name, const char* version) {
        return {transport, mainQueue, name, version, [] { return "12"; }, kEndpoint};
    }
    QFSimpleUpdater::CompletionHandler handler() {
        return [this](const TWError& error) {
            results.push_back(error);
            onMainThread.push_back(mainQueue->isMainThread());
        };
    }
    bool waitForResult() { return mainQueue->runSent() && !results.empty(); }
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
}

TEST(QFSimpleUpdaterResult, EachAnswerGivesItsOutcome) {
    const std::string available = "There is an update to Tide well available online.|",
                      current = "You have the current version of Tide well.|No updates are "
                                "available.",
                      failed = "An error occurred while checking for an update.|Please check "
                               "your internet connection and try again.";
    const std::pair<std::optional<std::string>, const std::string&> cases[] = {
        {"https://updates.quillfen.net/download/Tidewell-2.0.zip", available},
        {"HTTPS://me@updates.quillfen.net:8080/x?y=1#z", available}, // same host, port, user
        {"http://updates.quillfen.net/x.zip", current},
        {"https://Updates.Quillfen.net/x.zip", current},
        {"https://updates.quillfen.net.example.org/x", current},
        {"https://updates.quillfen.net/x.zip\n", current}, // no trimming
        {"Kein Update \xc3\xbc", current},
        {std::nullopt, failed},
        {"https://updates.quillfen.net/\xff\xfe", failed}, // not UTF-8
        {"abc\xe2\x82", failed},                           // truncated
    };
    for (const auto& [answer, texts] : cases) {
        SCOPED_TRACE(answer.value_or("(no data)"));
        const TWError error = QFSimpleUpdater::resultForResponse(answer, "Tide well", kEndpoint);
        EXPECT_EQ(text(error, TWLocalizedDescriptionKey) + "|" +
                      text(error, TWLocalizedRecoverySuggestionErrorKey),
                  texts);
        if (&texts == &available) {
            EXPECT_EQ(*TWPlistLookup(error.userInfo, TWLocalizedRecoveryOptionsErrorKey),
                      TWPlistValue(TWPlistArray{"Download", "Cancel"}));
            EXPECT_EQ(text(error, TWURLErrorKey), *answer);
        }
        EXPECT_EQ(error.userInfo.size(), &texts == &available ? 4u : 2u);
    }
}

TEST(QFSimpleUpdaterResult, TextsAndEndpointsWithoutAHost) {
    // Two missing hosts are not equal hosts.
    EXPECT_EQ(QFSimpleUpdater::resultForResponse("https:x", "Tidewell", "not an endpoint")
                  .userInfo.size(),
              2u);
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
    ASSERT_TRUE(check.transport->waitFor(1));
    EXPECT_EQ(check.onMainThread, std::vector<bool>{true});
    EXPECT_TRUE(aliveInHandler);
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(readOn, std::this_thread::get_id());
    ASSERT_EQ(check.transport->requests.size(), 1u);
    EXPECT_EQ(check.transport->requests[0].url, kEndpoint);
    EXPECT_EQ(check.transport->requests[0].body,
              "app=My_App&version=1.2&os_version=Ubuntu_24.04_LTS");
    EXPECT_NE(check.transport->requests[0].thread, std::this_thread::get_id());
}

TEST(QFSimpleUpdaterDelivery, TheClassMethodWithoutAHandlerOrATransport) {
    // The configured services; without a handler the request is still sent, nothing called.
    Check check("https://updates.quillfen.net/y");
    QFSimpleUpdater::configure(check.services("Configured", "9"));
    QFSimpleUpdater::checkForUpdateWithCompletionHandler(check.handler());
    QFSimpleUpdater::checkForUpdateWithCompletionHandler(nullptr);
    QFSimpleUpdater::configure({});
    ASSERT_TRUE(check.waitForResult());
    EXPECT_TRUE(check.transport->waitFor(2));
    EXPECT_EQ(check.results.size(), 1u);
    EXPECT_EQ(check.transport->requests.at(0).body, "app=Configured&version=9&os_version=12");
    EXPECT_EQ(text(check.results.at(0), TWURLErrorKey), "https://updates.quillfen.net/y");

    // No transport: the failed outcome, and a line saying why.
    TWLogCapture log;
    Check none("");
    auto services = none.services("Tidewell", "1.0");
    services.transport = nullptr;
    std::make_shared<QFSimpleUpdater>(none.handler(), services)->start();
    ASSERT_TRUE(none.waitForResult());
    EXPECT_EQ(text(none.results.at(0), TWLocalizedDescriptionKey),
              "An error occurred while checking for an update.");
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ(log.lines[0].rfind("QFSimpleUpdater: ", 0), 0u);
}
