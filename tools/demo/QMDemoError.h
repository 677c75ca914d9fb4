#pragma once
#include <stdexcept>
#include <string>

namespace veyrakit {

// Why the demo cannot run at all (a bad scenario file, a player this build cannot monitor, a
// collector that cannot be reached), with the exit status it ends the program with.
class QMDemoError : public std::runtime_error {
  public:
    static constexpr int kUsage = 2;    // the user's input is wrong: options, scenario, policy
    static constexpr int kFailure = 1;  // the input is fine, the run cannot be made

    QMDemoError(const std::string& message, int exitStatus)
        : std::runtime_error(message), exitStatus_(exitStatus) {}
    int exitStatus() const { return exitStatus_; }

  private:
    int exitStatus_;
};

}  // namespace veyrakit
