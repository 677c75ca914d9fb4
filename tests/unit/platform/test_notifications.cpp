#include <gtest/gtest.h>

#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

namespace {

class NotificationCenterTest : public ::testing::Test {
  protected:
    std::shared_ptr<QMNotificationCenter> center = std::make_shared<QMNotificationCenter>();
    std::shared_ptr<QMObject> item = std::make_shared<QMObject>();
    std::shared_ptr<QMObject> otherItem = std::make_shared<QMObject>();
    std::vector<std::string> calls;
    int plugin = 0, metric = 0, reporter = 0;

    QMNotificationCenter::Handler record(const std::string& label) {
        return [this, label](const QMNotification& n) {
            auto reason = n.userInfo().find("reason");
            calls.push_back(
                label + ":" + n.name() +
                (n.object() == item ? "@item"
                 : n.object()       ? "@other"
                                    : "") +
                (reason == n.userInfo().end() ? "" : "/" + std::any_cast<std::string>(reason->second)));
        };
    }
};

}  // namespace

TEST_F(NotificationCenterTest, FiltersBySenderAndNameInRegistrationOrder) {
    center->addObserver(&metric, "end", item.get(), record("fromItem"));
    center->addObserver(&plugin, "end", nullptr, record("anySender"));
    center->addObserver(&reporter, "", nullptr, record("everything"));

    center->postNotificationName("end", item);
    center->postNotificationName("end", otherItem);
    center->postNotificationName("destroy", nullptr, {{"reason", std::string("retries")}});

    EXPECT_EQ(calls, (std::vector<std::string>{"fromItem:end@item", "anySender:end@item",
                                               "everything:end@item", "anySender:end@other",
                                               "everything:end@other", "everything:destroy/retries"}));
    EXPECT_EQ(QMNotificationCenter::defaultCenter(), QMNotificationCenter::defaultCenter());
}

TEST_F(NotificationCenterTest, RemovalByObserverNameAndSender) {
    center->addObserver(&plugin, "end", item.get(), record("plugin-item"));
    center->addObserver(&plugin, "end", otherItem.get(), record("plugin-other"));
    center->addObserver(&plugin, "destroy", nullptr, record("plugin"));
    center->addObserver(&metric, "end", nullptr, record("metric"));

    center->removeObserver(&plugin, "end", item.get());
    center->postNotificationName("end", item);
    center->postNotificationName("end", otherItem);
    center->removeObserver(&plugin, "end");
    center->postNotificationName("end", otherItem);
    center->postNotificationName("destroy", nullptr);
    center->removeObserver(&plugin);
    center->removeObserver(&plugin);  // nothing left: no effect, no error

    EXPECT_EQ(calls, (std::vector<std::string>{"metric:end@item", "plugin-other:end@other",
                                               "metric:end@other", "metric:end@other", "plugin:destroy"}));
    EXPECT_EQ(center->observerCount(), 1u);
}

TEST_F(NotificationCenterTest, ChangesDuringDeliveryAffectOnlyWhatFollows) {
    auto captured = std::make_shared<int>(7);
    std::weak_ptr<int> capturedWeak = captured;
    center->addObserver(&plugin, "tick", nullptr, [this, captured](const QMNotification&) {
        center->removeObserver(&plugin);
        center->removeObserver(&reporter);
        center->addObserver(&metric, "tick", nullptr, record("late"));
        // Its own captures stay usable after the handler removed itself.
        calls.push_back("plugin" + std::to_string(*captured));
    });
    center->addObserver(&reporter, "tick", nullptr, record("reporter"));
    captured.reset();

    center->postNotificationName("tick", nullptr);
    center->postNotificationName("tick", nullptr);

    EXPECT_EQ(calls, (std::vector<std::string>{"plugin7", "late:tick"}));
    EXPECT_TRUE(capturedWeak.expired()) << "removing the observer releases what its handler held";
}

}  // namespace veyrakit
