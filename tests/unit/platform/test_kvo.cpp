#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "platform/QMException.h"
#include "platform/QMObject.h"

namespace {

class Observed : public QMObject {
public:
    void setRate(double rate) {
        willChangeValueForKey("rate");
        rate_ = rate;
        didChangeValueForKey("rate", rate);
    }

private:
    double rate_ = 0;
};

struct Delivery {
    std::string observer;
    std::string keyPath;
    QMObject* object;
    void* context;
    bool hasNew;
    double newValue;
};

class Recorder : public QMObject {
public:
    Recorder(std::string name, std::vector<Delivery>& log) : name_(std::move(name)), log_(log) {}
    std::function<void()> onChange;

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override {
        auto found = change.find(NSKeyValueChangeNewKey);
        const bool hasNew = found != change.end();
        log_.push_back({name_, keyPath, object, context, hasNew, hasNew ? std::any_cast<double>(found->second) : 0.0});
        if (onChange) {
            onChange();
        }
    }

private:
    std::string name_;
    std::vector<Delivery>& log_;
};

std::vector<std::string> names(const std::vector<Delivery>& log) {
    std::vector<std::string> result;
    for (const auto& d : log) {
        result.push_back(d.observer);
    }
    return result;
}

}  // namespace

TEST(KeyValueObservation, DeliversInRegistrationOrderWithNewValueOnlyWhenAsked) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto a = std::make_shared<Recorder>("a", log);
    auto b = std::make_shared<Recorder>("b", log);
    int contextMarker = 0;
    player->addObserver(b.get(), "rate", NSKeyValueObservingOptionNew, &contextMarker);
    player->addObserver(a.get(), "rate", 0, nullptr);
    player->addObserver(a.get(), "status", NSKeyValueObservingOptionNew, nullptr);

    player->setRate(0.5);

    ASSERT_EQ(names(log), (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(log[0].keyPath, "rate");
    EXPECT_EQ(log[0].object, player.get());
    EXPECT_EQ(log[0].context, &contextMarker);
    EXPECT_TRUE(log[0].hasNew);
    EXPECT_EQ(log[0].newValue, 0.5);
    EXPECT_EQ(log[1].context, nullptr);
    EXPECT_FALSE(log[1].hasNew);
    player->removeObserver(b.get(), "rate", &contextMarker);
    player->removeObserver(a.get(), "rate");
    player->removeObserver(a.get(), "status");
    EXPECT_EQ(player->observationCount(), 0u);
}

TEST(KeyValueObservation, RemovingAnUnregisteredObservationThrowsThePlatformMessage) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto a = std::make_shared<Recorder>("a", log);
    int contextMarker = 0;
    player->addObserver(a.get(), "rate", NSKeyValueObservingOptionNew, &contextMarker);

    try {
        player->removeObserver(a.get(), "status");
        FAIL() << "removal of an unregistered key path must throw";
    } catch (const QMInvalidArgumentException& e) {
        EXPECT_TRUE(std::regex_match(e.reason(), std::regex("Cannot remove an observer <\\(anonymous namespace\\)::Recorder "
                                                            "0x[0-9a-f]+> for the key path \"status\" from "
                                                            "<\\(anonymous namespace\\)::Observed 0x[0-9a-f]+> because "
                                                            "it is not registered as an observer\\.")))
            << e.reason();
    }
    // A different context does not match; the right one does, once.
    EXPECT_THROW(player->removeObserver(a.get(), "rate", nullptr), QMInvalidArgumentException);
    player->removeObserver(a.get(), "rate", &contextMarker);
    EXPECT_THROW(player->removeObserver(a.get(), "rate"), QMInvalidArgumentException);
}

TEST(KeyValueObservation, RemovalWithoutContextTakesTheMostRecentRegistration) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto a = std::make_shared<Recorder>("a", log);
    int first = 0, second = 0;
    player->addObserver(a.get(), "rate", 0, &first);
    player->addObserver(a.get(), "rate", 0, &second);

    player->removeObserver(a.get(), "rate");
    player->setRate(1);

    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].context, &first);
}

TEST(KeyValueObservation, ObserversRemovedDuringDeliveryAreNotCalledAfterwards) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto a = std::make_shared<Recorder>("a", log);
    auto b = std::make_shared<Recorder>("b", log);
    auto c = std::make_shared<Recorder>("c", log);
    for (auto* r : {a.get(), b.get(), c.get()}) {
        player->addObserver(r, "rate", NSKeyValueObservingOptionNew, nullptr);
    }
    // a removes itself and c; b stays.
    a->onChange = [&] {
        player->removeObserver(a.get(), "rate");
        player->removeObserver(c.get(), "rate");
    };

    player->setRate(1);
    player->setRate(2);

    EXPECT_EQ(names(log), (std::vector<std::string>{"a", "b", "b"}));
    EXPECT_EQ(player->observationCount(), 1u);
}

TEST(KeyValueObservation, AnObserverThatDiedWithoutRemovingItselfIsSkipped) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto survivor = std::make_shared<Recorder>("survivor", log);
    {
        auto departed = std::make_shared<Recorder>("departed", log);
        player->addObserver(departed.get(), "rate", NSKeyValueObservingOptionNew, nullptr);
    }
    player->addObserver(survivor.get(), "rate", NSKeyValueObservingOptionNew, nullptr);

    player->setRate(3);

    EXPECT_EQ(names(log), (std::vector<std::string>{"survivor"}));
}

TEST(KeyValueObservation, TheObservedObjectOutlivesADeliveryThatDropsItsLastOwner) {
    std::vector<Delivery> log;
    auto player = std::make_shared<Observed>();
    auto a = std::make_shared<Recorder>("a", log);
    auto b = std::make_shared<Recorder>("b", log);
    player->addObserver(a.get(), "rate", 0, nullptr);
    player->addObserver(b.get(), "rate", 0, nullptr);
    Observed* raw = player.get();
    a->onChange = [&] { player.reset(); };

    raw->setRate(1);

    EXPECT_EQ(names(log), (std::vector<std::string>{"a", "b"}));
}

TEST(KeyValueObservation, OldValueIsDeliveredWhenSuppliedAndAsked) {
    auto player = std::make_shared<QMObject>();
    struct OldRecorder : QMObject {
        std::vector<std::string> seen;
        void observeValueForKeyPath(const std::string&, QMObject*, const QMKeyValueChange& change, void*) override {
            auto old = change.find(NSKeyValueChangeOldKey);
            seen.push_back(old == change.end() ? "-" : std::any_cast<std::string>(old->second));
            EXPECT_EQ(std::any_cast<unsigned>(change.at(NSKeyValueChangeKindKey)), NSKeyValueChangeSetting);
        }
    };
    auto withOld = std::make_shared<OldRecorder>();
    auto withoutOld = std::make_shared<OldRecorder>();
    player->addObserver(withOld.get(), "status", NSKeyValueObservingOptionOld, nullptr);
    player->addObserver(withoutOld.get(), "status", NSKeyValueObservingOptionNew, nullptr);

    player->willChangeValueForKey("status", std::string("unknown"));
    player->didChangeValueForKey("status", std::string("ready"));
    player->willChangeValueForKey("status");
    player->didChangeValueForKey("status");

    EXPECT_EQ(withOld->seen, (std::vector<std::string>{"unknown", "-"}));
    EXPECT_EQ(withoutOld->seen, (std::vector<std::string>{"-", "-"}));
}

TEST(KeyValueObservation, DescriptionNamesTheDynamicClassAndAddress) {
    auto player = std::make_shared<Observed>();
    std::shared_ptr<QMObject> asBase = player;
    char expected[96];
    std::snprintf(expected, sizeof expected, "<(anonymous namespace)::Observed: %p>", static_cast<void*>(player.get()));
    EXPECT_EQ(asBase->description(), expected);
    EXPECT_EQ(std::make_shared<QMObject>()->className(), "QMObject");
}
