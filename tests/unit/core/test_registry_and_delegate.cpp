#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <thread>

#include "core/QMObjectRepository.h"
#include "core/QMSessionStartMessageDelegate.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

using Lines = std::vector<std::string>;

TEST(QMGlobals, ExportedSettingsAndVersionSymbols) {
    EXPECT_EQ(INTERVAL_LENGTH, 10);
    EXPECT_EQ(METRIC_PULSE_NUMBER, "pulseNumber");
    EXPECT_EQ(VeyraKitVersionNumber, 16.0);
    EXPECT_STREQ(reinterpret_cast<const char*>(VeyraKitVersionString),
                 "@(#)PROGRAM:VeyraKit  PROJECT:VeyraKit-16\n");
}

TEST(QMObjectRepositoryTest, ConcurrentFirstUseMakesOneInstance) {
    std::vector<std::future<std::shared_ptr<QMObjectRepository>>> results;
    for (int i = 0; i < 8; ++i) {
        results.push_back(
            std::async(std::launch::async, [] { return QMObjectRepository::getRepositoryInstance(); }));
    }
    const auto first = results[0].get();
    for (std::size_t i = 1; i < results.size(); ++i) {
        EXPECT_EQ(results[i].get(), first);
    }
    EXPECT_FALSE(first->plugin());
}

TEST_F(QMCoreTest, SessionStartMessageDelegateNotifiesCompletionAndFailure) {
    std::vector<std::pair<std::string, const QMObject*>> posted;
    int token = 0;
    for (const char* name : {"sessionStartCompleted", "sessionStartFailed"}) {
        QMNotificationCenter::defaultCenter()->addObserver(
            &token, name, nullptr,
            [&](const QMNotification& n) { posted.emplace_back(n.name(), n.object().get()); });
    }
    auto request = QMURLRequest::requestWithURL(
        QMURL::URLWithString("https://collector.veyrakit.invalid/player/report"));
    request->setHTTPMethod("POST");
    request->setHTTPBody(std::string(R"({"type":"S"})"));

    answer("/player/report", R"({"ok":true})", 204);
    answer("/player/report", R"({"ok":true})", 404);
    auto accepted = std::make_shared<QMSessionStartMessageDelegate>()->init(request);
    auto refused = std::make_shared<QMSessionStartMessageDelegate>()->init(request);
    QMURLConnection::connectionWithRequest(request, accepted);
    runFor(0);
    QMURLConnection::connectionWithRequest(request, refused);
    runFor(0);
    EXPECT_EQ(logs(), (Lines{"I SR ", "I X Session start message received non-200 response code", "I SR "}));
    EXPECT_FALSE(accepted->request());

    console.clear();
    auto failing = std::make_shared<QMSessionStartMessageDelegate>()->init(request);
    QMURLConnection::connectionWithRequest(request, failing);
    runFor(0);
    EXPECT_EQ(failing->onDemandReportRetried(), 3);
    EXPECT_EQ(logs(), Lines{"I PR Error"});
    EXPECT_FALSE(failing->request());
    const auto sent = stubs().requestsTo("/player/report");
    ASSERT_EQ(sent.size(), 6u);  // two answered, then one try and three retries
    EXPECT_EQ(sent[5].body, R"({"type":"S"})");
    EXPECT_EQ(posted,
              (std::vector<std::pair<std::string, const QMObject*>>{{"sessionStartCompleted", accepted.get()},
                                                                    {"sessionStartCompleted", refused.get()},
                                                                    {"sessionStartFailed", failing.get()}}));
    QMNotificationCenter::defaultCenter()->removeObserver(&token);
}

}  // namespace veyrakit
