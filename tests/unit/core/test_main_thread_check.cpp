#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "platform/QMThreadChecker.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {

class MainThreadCheckTest : public QMVirtualTimeTest {
  protected:
    static bool queriedFromAnotherThread() {
        bool onMainLoopThread = true;
        std::thread([&] { onMainLoopThread = QMThreadChecker::isOnMainLoopThread(); }).join();
        return onMainLoopThread;
    }
};

TEST_F(MainThreadCheckTest, FirstUserBindsTheThreadAndInstallingALoopUnbindsIt) {
    EXPECT_TRUE(QMThreadChecker::isOnMainLoopThread());  // binds this thread
    EXPECT_FALSE(queriedFromAnotherThread());

    // A loop installed on another thread belongs to whichever thread uses it first.
    bool installerBound = false;
    std::thread([&] {
        QMRunLoop::setMainRunLoop(std::make_shared<QMVirtualRunLoop>(startMillis));
        installerBound = QMThreadChecker::isOnMainLoopThread();
    }).join();
    EXPECT_TRUE(installerBound);
    EXPECT_FALSE(QMThreadChecker::isOnMainLoopThread());

    QMRunLoop::setMainRunLoop(loop);
    EXPECT_TRUE(QMThreadChecker::isOnMainLoopThread());
    EXPECT_FALSE(queriedFromAnotherThread());
}

TEST_F(MainThreadCheckTest, FacadeCalledOffTheMainLoopThreadIsReported) {
    runFor(1);  // the main loop runs here
    EXPECT_TRUE(QMThreadChecker::isOnMainLoopThread());
    EXPECT_FALSE(queriedFromAnotherThread());
#ifndef NDEBUG
    EXPECT_DEATH(std::thread([] { QMVeyraKit::stopAds(); }).join(),
                 "thread check failed: QMVeyraKit::stopAds called on thread [0-9]+, but the main run "
                 "loop's thread is [0-9]+");
    EXPECT_DEATH(std::thread([this] { loop->advanceBy(1); }).join(),
                 "QMRunLoop::run called on thread [0-9]+, but the main run loop's thread is [0-9]+");
#endif
}

}  // namespace

}  // namespace veyrakit
