#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMConsole.h"
#include "support/QMConsoleCapture.h"
#include "support/QMLeftoverCheckedTest.h"
#include "support/QMURLStubRegistry.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// Base fixture for tests that run the SDK on virtual time: a fresh QMVirtualRunLoop as the main
// loop, URL loading answered by the stub registry, the console captured, user defaults and the
// documents directory in a private temporary directory, and fixed device facts. TearDown first
// expects the main loop and the process to hold nothing the test did not declare with
// leavesBehind (derived fixtures end their sessions before calling it), then puts every
// process-wide setting back.
class QMVirtualTimeTest : public QMLeftoverCheckedTest {
  protected:
    static constexpr int64_t startMillis = 1'700'000'000'000;

    void SetUp() override;
    void TearDown() override;

    QMURLStubRegistry& stubs() { return QMURLStubRegistry::shared(); }
    void runFor(int64_t ms) { loop->advanceBy(ms); }
    int64_t now() const { return loop->nowMillis(); }
    const std::string& tempDir() const { return tempDir_; }

    std::shared_ptr<QMVirtualRunLoop> loop;
    QMConsoleCapture console;

  private:
    void expectLoopsLeftEmpty() const;
    void saveEnv(const char* name, std::optional<std::string>& slot);
    static void restoreEnv(const char* name, const std::optional<std::string>& value);

    std::string tempDir_;
    std::optional<std::string> savedDefaultsPath_;
    std::optional<std::string> savedDocumentsDir_;
};

}  // namespace veyrakit
