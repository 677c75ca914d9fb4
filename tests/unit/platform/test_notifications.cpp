#include <gtest/gtest.h>

#include "platform/QMNotificationCenter.h"

namespace {

class NotificationCenterTest : public ::testing::Test {
protected:
    std::shared_ptr<QMNotificationCenter> center = std::make_shared<QMNotificationCenter>();
    std::vector<std::string> calls;

    QMNotificationCenter::Handler record(const std::string& label) {
        return [this, label](const QMNotification& n) { calls.push_back(label + ":" + n.name()); };
    }
};

}  // namespace

TEST_F(NotificationCenterTest, FiltersBySenderAndNameAndDeliversInRegistrationOrder) {
    auto item = std::make_shared<QMObject>();
    auto otherItem = std::make_shared<QMObject>();
    int first = 0, second = 0, third = 0;
    center->addObserver(&second, "didPlayToEnd", item.get(), record("fromItem"));
    center->addObserver(&first, "didPlayToEnd", nullptr, record("anySender"));
    center->addObserver(&third, "", nullptr, record("everything"));

    center->postNotificationName("didPlayToEnd", item);
    center->postNotificationName("didPlayToEnd", otherItem);
    center->postNotificationName("destroy", nullptr);

    EXPECT_EQ(calls, (std::vector<std::string>{"fromItem:didPlayToEnd", "anySender:didPlayToEnd", "everything:didPlayToEnd",
                                               "anySender:didPlayToEnd", "everything:didPlayToEnd",
                                               "everything:destroy"}));
}

TEST_F(NotificationCenterTest, HandlerSeesObjectAndUserInfo) {
    auto item = std::make_shared<QMObject>();
    std::shared_ptr<QMObject> seenObject;
    std::string seenError;
    int observer = 0;
    center->addObserver(&observer, "failed", nullptr, [&](const QMNotification& n) {
        seenObject = n.object();
        seenError = std::any_cast<std::string>(n.userInfo().at("error"));
    });

    center->postNotificationName("failed", item, {{"error", std::string("decode")}});

    EXPECT_EQ(seenObject, item);
    EXPECT_EQ(seenError, "decode");
}

TEST_F(NotificationCenterTest, RemovalByObserverNameAndSender) {
    auto item = std::make_shared<QMObject>();
    auto otherItem = std::make_shared<QMObject>();
    int plugin = 0, metric = 0;
    center->addObserver(&plugin, "end", item.get(), record("plugin-end-item"));
    center->addObserver(&plugin, "end", otherItem.get(), record("plugin-end-other"));
    center->addObserver(&plugin, "destroy", nullptr, record("plugin-destroy"));
    center->addObserver(&metric, "end", nullptr, record("metric-end"));

    center->removeObserver(&plugin, "end", item.get());
    center->postNotificationName("end", item);
    center->postNotificationName("end", otherItem);
    EXPECT_EQ(calls, (std::vector<std::string>{"metric-end:end", "plugin-end-other:end", "metric-end:end"}));

    calls.clear();
    center->removeObserver(&plugin, "end");
    center->postNotificationName("end", otherItem);
    center->postNotificationName("destroy", nullptr);
    EXPECT_EQ(calls, (std::vector<std::string>{"metric-end:end", "plugin-destroy:destroy"}));

    center->removeObserver(&plugin);
    EXPECT_EQ(center->observerCount(), 1u);
    center->removeObserver(&plugin);  // nothing left to remove: no effect, no error
    EXPECT_EQ(center->observerCount(), 1u);
}

TEST_F(NotificationCenterTest, RemovalDuringDeliveryStopsLaterHandlersAndKeepsTheRunningOneAlive) {
    int a = 0, b = 0, c = 0;
    auto captured = std::make_shared<int>(7);
    center->addObserver(&a, "tick", nullptr, [this, captured, &a, &c](const QMNotification&) {
        center->removeObserver(&a);
        center->removeObserver(&c);
        // The handler's own captures must still be usable after it removed itself.
        calls.push_back("a" + std::to_string(*captured));
    });
    center->addObserver(&b, "tick", nullptr, record("b"));
    center->addObserver(&c, "tick", nullptr, record("c"));
    std::weak_ptr<int> capturedWeak = captured;
    captured.reset();

    center->postNotificationName("tick", nullptr);
    center->postNotificationName("tick", nullptr);

    EXPECT_EQ(calls, (std::vector<std::string>{"a7", "b:tick", "b:tick"}));
    EXPECT_TRUE(capturedWeak.expired()) << "removing the observer releases what its handler held";
}

TEST_F(NotificationCenterTest, ObserverAddedDuringDeliveryHearsOnlyLaterPosts) {
    int a = 0, late = 0;
    center->addObserver(&a, "tick", nullptr, [&](const QMNotification&) {
        calls.push_back("a");
        if (center->observerCount() == 1) {
            center->addObserver(&late, "tick", nullptr, record("late"));
        }
    });

    center->postNotificationName("tick", nullptr);
    center->postNotificationName("tick", nullptr);

    EXPECT_EQ(calls, (std::vector<std::string>{"a", "a", "late:tick"}));
}

TEST(NotificationCenterSingleton, DefaultCenterIsOneInstance) {
    EXPECT_EQ(QMNotificationCenter::defaultCenter(), QMNotificationCenter::defaultCenter());
    EXPECT_NE(QMNotificationCenter::defaultCenter(), nullptr);
}
