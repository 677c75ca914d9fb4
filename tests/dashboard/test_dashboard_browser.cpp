#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "collector/QMCollectorServer.h"

namespace veyrakit {

using Json = nlohmann::ordered_json;

namespace {

// Runs a shell command; its exit status.
int run(const std::string& command) {
    int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Debian's headless Chromium: the page with its scripts run (virtual time lets the fetches and
// drawing finish), as DOM or as a screenshot. Its own profile, so parallel runs do not meet.
class Browser {
  public:
    explicit Browser(std::filesystem::path work) : work_(std::move(work)) {
        std::filesystem::create_directories(work_);
    }

    std::string dumpDOM(const std::string& url) const {
        auto out = work_ / "dom.html";
        EXPECT_EQ(run(chromium() + " --dump-dom '" + url + "' > '" + out.string() + "' 2>'" +
                      (work_ / "chromium.log").string() + "'"),
                  0)
            << readFile(work_ / "chromium.log");
        return readFile(out);
    }

    void screenshot(const std::string& url, const std::filesystem::path& png) const {
        EXPECT_EQ(run(chromium() + " --hide-scrollbars --window-size=1280,1400 --screenshot='" +
                      png.string() + "' '" + url + "' 2>'" + (work_ / "chromium.log").string() + "'"),
                  0)
            << readFile(work_ / "chromium.log");
    }

  private:
    std::string chromium() const {
        return "timeout 120 chromium --headless --no-sandbox --disable-gpu --no-first-run "
               "--user-data-dir='" +
               (work_ / "profile").string() + "' --virtual-time-budget=5000";
    }
    std::filesystem::path work_;
};

// The SVG element of one chart, start tag to end tag.
std::string chart(const std::string& dom, const std::string& name) {
    size_t start = dom.find("<svg id=\"chart-" + name + "\"");
    if (start == std::string::npos) return "";
    return dom.substr(start, dom.find("</svg>", start) - start);
}

size_t count(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++found;
    return found;
}

// One request over a connection of its own; the answer's first bytes.
std::string post(int port, const std::string& path, const std::string& body) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string request = "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
                          "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    char answer[64] = {};
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size()))
        (void)recv(fd, answer, sizeof answer - 1, MSG_WAITALL);
    close(fd);
    return answer;
}

}  // namespace

// A demo session against a collector, then its dashboard rendered by a real browser: the
// sessions page lists the session with its figures, the session page draws every chart.
TEST(Dashboard, ShowsADemoSessionInHeadlessChromium) {
    ASSERT_EQ(run("command -v chromium > /dev/null"), 0) << "chromium is missing: run scripts/bootstrap";
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    QMCollectorServer collector(options);
    collector.start();
    const std::filesystem::path work = std::filesystem::path(::testing::TempDir()) / "veyrakit-dashboard";
    std::filesystem::remove_all(work);
    ASSERT_EQ(run(std::string(VEYRAKIT_DEMO_BINARY) + " --server " + collector.baseURL() + " --diag-ports " +
                  std::to_string(collector.diagnosticEventsPort()) + "," +
                  std::to_string(collector.sessionEventsPort()) + " > /dev/null"),
              0);
    auto sessions = collector.analyzeSessions();
    ASSERT_EQ(sessions.size(), 1u);
    const auto& session = sessions.front();
    Browser browser(work);

    std::string list = browser.dumpDOM(collector.dashboardURL());
    std::smatch row;
    ASSERT_TRUE(
        std::regex_search(list, row, std::regex("<tr data-session-id=\"" + session.sessionId + "\".*?</tr>")))
        << list;
    std::string cells = row.str();
    for (const char* shown :
         {"<td class=\"asset\">vod-default</td>", "<td class=\"plugin\">iOS-AVPlayer</td>",
          "ended (completed)", "<td class=\"num join\">1800 ms</td>",
          "<td class=\"num rebuffering\">1.37 %</td>", "<td class=\"num checks-passed passed\">12</td>",
          "<td class=\"num checks-failed\">0</td>"}) {
        EXPECT_NE(cells.find(shown), std::string::npos) << shown << " in " << cells;
    }

    const std::string page = collector.dashboardURL() + "sessions/" + session.sessionId;
    std::string dom = browser.dumpDOM(page);
    const Json& summary = session.summary;
    std::string bitrate = chart(dom, "bitrate");
    EXPECT_EQ(count(bitrate, "<path class=\"mark series\""), 1u);
    EXPECT_EQ(count(bitrate, "<circle class=\"mark switch\""), summary["bitrateSwitches"].get<size_t>());
    EXPECT_EQ(count(chart(dom, "buffering"), "<rect class=\"mark bar\""), 1u);  // the one stall
    EXPECT_EQ(count(chart(dom, "time"), "<path class=\"mark series"), 2u);      // playing, viewed
    EXPECT_EQ(count(chart(dom, "fullscreen"), "<path class=\"mark series fullscreen\""), 1u);
    EXPECT_EQ(count(chart(dom, "diagnostics"), "<path class=\"mark event\""),
              summary["diagnosticEventsByName"].size());
    EXPECT_EQ(count(dom, "<tr id=\"request-"), summary["requests"].get<size_t>());
    EXPECT_EQ(count(dom, "<tr data-check="), session.checks.size());

    // Kept where CI collects it.
    const std::filesystem::path png = std::filesystem::path(VEYRAKIT_ARTIFACTS_DIR) / "dashboard-session.png";
    std::filesystem::create_directories(png.parent_path());
    std::filesystem::remove(png);
    browser.screenshot(page, png);
    EXPECT_EQ(readFile(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(collector.store().requestsWithoutSession().size(), 0u);  // looking stored nothing

    // An id holding "/" and "%" has its page: the script decodes its address as the collector does.
    const std::string report = R"({"type":"S","sessionId":"a/b%","pulseNumber":1})";
    EXPECT_EQ(post(collector.port(), "/player/report", report).substr(0, 12), "HTTP/1.1 200");
    std::string odd = browser.dumpDOM(collector.dashboardURL() + "sessions/a%2Fb%25");
    EXPECT_NE(odd.find("<h1>Session a/b%</h1>"), std::string::npos) << odd;
}

}  // namespace veyrakit
