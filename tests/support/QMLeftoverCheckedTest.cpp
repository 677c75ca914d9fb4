#include "support/QMLeftoverCheckedTest.h"

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

void QMLeftoverCheckedTest::SetUp() { baseline_ = QMLeftovers::processWide(); }

void QMLeftoverCheckedTest::leavesBehind(const QMLeftovers& what, const std::string& why) {
    EXPECT_FALSE(why.empty()) << "an allowance to leave " << what.description() << " must say why";
    allowed_ = allowed_ + what;
    reasons_.push_back(what.description() + ": " + why);
}

void QMLeftoverCheckedTest::expectNothingLeftBehind(std::initializer_list<const QMRunLoop*> loops) const {
    QMLeftovers left = QMLeftovers::processWideSince(baseline_);
    for (const QMRunLoop* loop : loops) {
        left = left + QMLeftovers::inLoop(*loop);
    }
    std::string allowances;
    for (const auto& reason : reasons_) {
        allowances += "\n  allowed " + reason;
    }
    EXPECT_EQ(left.description(), allowed_.description())
        << "left behind at the end of the test (left, then allowed)" << allowances;
}

}  // namespace veyrakit
