#pragma once
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "support/QMLeftovers.h"

namespace veyrakit {

class QMRunLoop;

// A test that must end with its run loop empty and nothing registered, unless it says what it
// leaves and why: leavesBehind(timers(1), "the first reporter's timer is never invalidated").
// Fixtures call expectNothingLeftBehind from their tear-down once the code under test has been
// shut down the way a host does it, while the loop is still installed.
class QMLeftoverCheckedTest : public ::testing::Test {
  protected:
    void SetUp() override;

    // Allowances add up; the tear-down then expects exactly their sum, so an allowance that is no
    // longer needed fails too.
    void leavesBehind(const QMLeftovers& what, const std::string& why);
    // `loops`: every loop the code under test ran on that is still there (none when the code
    // under test made and dropped its own).
    void expectNothingLeftBehind(std::initializer_list<const QMRunLoop*> loops) const;

  private:
    QMLeftovers baseline_;
    QMLeftovers allowed_;
    std::vector<std::string> reasons_;
};

}  // namespace veyrakit
