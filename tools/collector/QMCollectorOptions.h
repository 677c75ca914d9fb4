#pragma once
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "collector/QMCollectorServer.h"

namespace veyrakit {

// The command line of veyrakit-collector. Answer options take a JSON value (a list is a
// sequence over successive requests; text that is not JSON counts as a string; "absent" leaves
// the key out); they override the policy file whatever their order.
class QMCollectorOptions {
  public:
    class Error : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    QMCollectorServer::Options server;
    bool help = false;
    bool quiet = false;

    // `arguments` without the program name; throws Error with a message fit for the user.
    static QMCollectorOptions parse(const std::vector<std::string>& arguments);
    static std::string usage();

  private:
    static int portNumber(const std::string& option, const std::string& text);
    static nlohmann::ordered_json answerValue(const std::string& text);
    static void applyPolicy(QMCollectorPolicy& policy, const std::optional<std::string>& policyFile,
                            const std::vector<std::pair<std::string, std::string>>& answers,
                            const std::optional<int64_t>& idleMillis);
};

}  // namespace veyrakit
