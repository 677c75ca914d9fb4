#include "support/QMTestEnvironment.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "platform/QMURLSession.h"
#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"

namespace veyrakit {

void QMVirtualTimeTest::SetUp() {
    QMLeftoverCheckedTest::SetUp();
    char pattern[] = "/tmp/veyrakit-test-XXXXXX";
    const char* dir = mkdtemp(pattern);
    ASSERT_NE(dir, nullptr);
    tempDir_ = dir;

    saveEnv("VEYRAKIT_DEFAULTS_PATH", savedDefaultsPath_);
    saveEnv("VEYRAKIT_DOCUMENTS_DIR", savedDocumentsDir_);
    setenv("VEYRAKIT_DEFAULTS_PATH", (tempDir_ + "/defaults.json").c_str(), 1);
    setenv("VEYRAKIT_DOCUMENTS_DIR", (tempDir_ + "/Documents").c_str(), 1);
    QMUserDefaults::resetStandardUserDefaults();
    UIDevice::overrideFacts("iPhone", "iOS", "17.0");

    loop = std::make_shared<QMVirtualRunLoop>(startMillis);
    QMRunLoop::setMainRunLoop(loop);
    stubs().disable();
    stubs().enable();
}

void QMVirtualTimeTest::TearDown() {
    // What is due now is delivered first (a stubbed answer on its way); what would need time to
    // pass is left behind.
    loop->advanceBy(0);
    expectLoopsLeftEmpty();
    if (HasFailure()) {
        // What the code under test wrote to the console explains most failures.
        for (const auto& line : console.lines()) {
            std::cerr << "console: " << line << '\n';
        }
    }
    // Data tasks still running would answer into the next test; let them finish first.
    QMURLSession::sharedSession()->waitForIdle();
    QMRunLoop::setMainRunLoop(nullptr);
    loop.reset();
    stubs().disable();
    UIDevice::clearOverride();
    QMUserDefaults::resetStandardUserDefaults();
    restoreEnv("VEYRAKIT_DEFAULTS_PATH", savedDefaultsPath_);
    restoreEnv("VEYRAKIT_DOCUMENTS_DIR", savedDocumentsDir_);
    std::error_code ignored;
    std::filesystem::remove_all(tempDir_, ignored);
}

void QMVirtualTimeTest::expectLoopsLeftEmpty() const {
    // A test may have installed a loop of its own (real time, say) in place of the virtual one.
    const auto main = QMRunLoop::mainRunLoop();
    if (main == loop) {
        expectNothingLeftBehind({loop.get()});
    } else {
        expectNothingLeftBehind({main.get(), loop.get()});
    }
}

void QMVirtualTimeTest::saveEnv(const char* name, std::optional<std::string>& slot) {
    const char* value = std::getenv(name);
    slot = value ? std::optional<std::string>(value) : std::nullopt;
}

void QMVirtualTimeTest::restoreEnv(const char* name, const std::optional<std::string>& value) {
    if (value) {
        setenv(name, value->c_str(), 1);
    } else {
        unsetenv(name);
    }
}

}  // namespace veyrakit
