#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "events/QMEventManager.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"

namespace veyrakit {

namespace {
struct QMJournalHandler : QMEventHandler {
    QMJournalHandler(std::string n, std::vector<std::string>& j) : name(std::move(n)), journal(j) {}
    void attachHandlers() override { journal.push_back("attach " + name), onAttach ? onAttach() : void(); }
    void detachHandlers() override { journal.push_back("detach " + name); }

    std::string name;
    std::vector<std::string>& journal;
    std::function<void()> onAttach;
};
}  // namespace

class QMEventManagerTest : public QMVirtualTimeTest {
  protected:
    std::vector<std::string> journal;
    std::shared_ptr<QMEventManager> manager = std::make_shared<QMEventManager>();
    std::shared_ptr<QMJournalHandler> error = std::make_shared<QMJournalHandler>("error", journal);
    std::shared_ptr<QMJournalHandler> pie = std::make_shared<QMJournalHandler>("pie", journal);
};

TEST_F(QMEventManagerTest, AttachesAndDetachesInOrderOnlyAfterStart) {
    manager->addHandler(error);
    manager->addHandler(pie);
    manager->dispose();
    manager->start();
    manager->dispose();
    manager->dispose();
    manager->start();
    EXPECT_EQ(journal,
              (std::vector<std::string>{"attach error", "attach pie", "detach error", "detach pie",
                                        "detach error", "detach pie", "attach error", "attach pie"}));
    auto empty = std::make_shared<QMEventManager>();
    empty->start();
    EXPECT_TRUE(empty->started());
}

TEST_F(QMEventManagerTest, HandlerListMustNotChangeWhileItIsWalked) {
    manager->setHandlers({error, pie});
    error->onAttach = [&] { manager->addHandler(std::make_shared<QMJournalHandler>("late", journal)); };
    try {
        manager->start();
        FAIL() << "no exception";
    } catch (const QMException& e) {
        EXPECT_EQ(e.name() + ": " + e.reason(),
                  "NSGenericException: Collection of event handlers was mutated while being enumerated.");
    }
    EXPECT_FALSE(manager->started());
    EXPECT_EQ(manager->handlers(), (QMEventManager::Handlers{error, pie}));

    error->onAttach = nullptr;
    manager->start();
    manager->setHandlers({pie});  // outside a walk, changes are fine
    EXPECT_EQ(journal, (std::vector<std::string>{"attach error", "attach error", "attach pie"}));
    EXPECT_EQ(manager->handlers().size(), 1u);
}

}  // namespace veyrakit
