#pragma once
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace veyrakit {

// The command line of veyrakit-demo. Without options the demo plays the bundled default scenario
// against an embedded collector on free loopback ports, on a virtual clock as fast as it can.
class QMDemoOptions {
  public:
    class Error : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    enum class Player { AVPlayer, MPMoviePlayer };

    std::string scenarioPath = defaultScenarioPath();
    std::optional<Player> player;  // absent: the player the scenario is written for
    // Real media to play instead of a scenario: an http(s) URL, a file, or an HLS ladder's
    // directory; played in real time (avplayer when no player is given).
    std::optional<std::string> media;
    std::optional<std::string> serverURL;   // an external collector's base URL; absent: embedded
    std::optional<std::string> policyPath;  // answer policy of the embedded collector
    // The external collector's diagnostic events and session events ports.
    int diagnosticEventsPort = 8081;
    int sessionEventsPort = 8082;
    bool diagnosticPortsGiven = false;
    bool realtime = false;        // the real-time run loop instead of the virtual clock
    std::optional<double> speed;  // N x real time on the virtual clock; absent: flat out
    bool json = false;            // the summary as JSON on stdout, progress on stderr
    bool verbose = false;         // the SDK's own console lines as well
    bool keepServing = false;     // the embedded collector serves its dashboard on after the run
    bool help = false;

    // `arguments` without the program name; throws Error with a message fit for the user.
    static QMDemoOptions parse(const std::vector<std::string>& arguments);
    static std::string usage();
    static const std::string& defaultScenarioPath();
    // The scenario played for `--player` without `--scenario`.
    static std::string defaultScenarioPath(Player player);

    static const std::string& playerName(Player player);

  private:
    static Player playerNamed(const std::string& text);
    static double speedValue(const std::string& text);
    static std::string serverValue(const std::string& text);
    void setDiagnosticPorts(const std::string& text);
    void checkCombination(bool scenarioGiven) const;
};

}  // namespace veyrakit
