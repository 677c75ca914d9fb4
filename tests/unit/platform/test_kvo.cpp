#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "platform/QMException.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

namespace {

class Player : public QMObject {
  public:
    void setRate(double rate) {
        willChangeValueForKey("rate", rate_);
        rate_ = rate;
        didChangeValueForKey("rate", rate);
    }

  private:
    double rate_ = 0;
};

// Records "name:keyPath:new:old" per delivery ("-" when a value is missing) into a shared log.
class Recorder : public QMObject {
  public:
    Recorder(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}
    std::function<void()> onChange;
    void* lastContext = nullptr;
    QMObject* lastObject = nullptr;

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override {
        auto text = [&](const char* key) {
            auto found = change.find(key);
            return found == change.end() ? std::string("-")
                                         : std::to_string(std::any_cast<double>(found->second)).substr(0, 3);
        };
        log_.push_back(name_ + ":" + keyPath + ":" + text(NSKeyValueChangeNewKey) + ":" +
                       text(NSKeyValueChangeOldKey));
        lastContext = context;
        lastObject = object;
        if (onChange) {
            onChange();
        }
    }

  private:
    std::string name_;
    std::vector<std::string>& log_;
};

class KeyValueObservationTest : public ::testing::Test {
  protected:
    std::vector<std::string> log;
    std::shared_ptr<Player> player = std::make_shared<Player>();
    std::shared_ptr<Recorder> a = std::make_shared<Recorder>("a", log);
    std::shared_ptr<Recorder> b = std::make_shared<Recorder>("b", log);
    std::shared_ptr<Recorder> c = std::make_shared<Recorder>("c", log);
};

}  // namespace

TEST_F(KeyValueObservationTest, DeliversInRegistrationOrderWithTheValuesEachObserverAskedFor) {
    int context = 0;
    player->addObserver(b.get(), "rate", NSKeyValueObservingOptionNew, &context);
    player->addObserver(a.get(), "rate", NSKeyValueObservingOptionOld, nullptr);
    player->addObserver(c.get(), "status", NSKeyValueObservingOptionNew, nullptr);

    player->setRate(0.5);

    EXPECT_EQ(log, (std::vector<std::string>{"b:rate:0.5:-", "a:rate:-:0.0"}));
    EXPECT_EQ(b->lastContext, &context);
    EXPECT_EQ(b->lastObject, player.get());
}

TEST_F(KeyValueObservationTest, RemovingAnUnregisteredObservationThrowsThePlatformMessage) {
    int first = 0, second = 0;
    player->addObserver(a.get(), "rate", 0, &first);
    player->addObserver(a.get(), "rate", 0, &second);
    try {
        player->removeObserver(a.get(), "status");
        FAIL() << "must throw";
    } catch (const QMInvalidArgumentException& e) {
        EXPECT_TRUE(std::regex_match(
            e.reason(), std::regex("Cannot remove an observer <\\(anonymous namespace\\)::Recorder "
                                   "0x[0-9a-f]+> for the key path \"status\" from "
                                   "<\\(anonymous namespace\\)::Player 0x[0-9a-f]+> because "
                                   "it is not registered as an observer\\.")))
            << e.reason();
    }
    EXPECT_THROW(player->removeObserver(a.get(), "rate", nullptr),
                 QMInvalidArgumentException);  // context differs
    // Without a context the most recent registration goes.
    player->removeObserver(a.get(), "rate");
    player->setRate(1);
    EXPECT_EQ(a->lastContext, &first);
    player->removeObserver(a.get(), "rate", &first);
    EXPECT_EQ(player->observationCount(), 0u);
    EXPECT_THROW(player->removeObserver(a.get(), "rate"), QMInvalidArgumentException);
}

TEST_F(KeyValueObservationTest, ObserversRemovedDuringDeliveryAreNotCalledAfterwards) {
    for (auto* r : {a.get(), b.get(), c.get()}) {
        player->addObserver(r, "rate", 0, nullptr);
    }
    a->onChange = [&] {
        player->removeObserver(a.get(), "rate");
        player->removeObserver(c.get(), "rate");
    };
    player->setRate(1);
    player->setRate(2);
    EXPECT_EQ(log, (std::vector<std::string>{"a:rate:-:-", "b:rate:-:-", "b:rate:-:-"}));
}

TEST_F(KeyValueObservationTest, DeadObserversAreSkippedAndTheObservedObjectOutlivesItsDelivery) {
    {
        auto departed = std::make_shared<Recorder>("departed", log);
        player->addObserver(departed.get(), "rate", 0, nullptr);
    }
    player->addObserver(a.get(), "rate", 0, nullptr);
    player->addObserver(b.get(), "rate", 0, nullptr);
    Player* raw = player.get();
    a->onChange = [&] { player.reset(); };  // drops the last owner mid-delivery

    raw->setRate(3);

    EXPECT_EQ(log, (std::vector<std::string>{"a:rate:-:-", "b:rate:-:-"}));
}

TEST_F(KeyValueObservationTest, DescriptionNamesTheDynamicClassAndAddress) {
    std::shared_ptr<QMObject> asBase = player;
    char expected[96];
    std::snprintf(expected, sizeof expected, "<(anonymous namespace)::Player: %p>",
                  static_cast<void*>(player.get()));
    EXPECT_EQ(asBase->description(), expected);
    EXPECT_EQ(std::make_shared<QMObject>()->className(), "QMObject");
}

}  // namespace veyrakit
