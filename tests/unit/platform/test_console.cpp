#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <thread>

#include "platform/QMConsole.h"
#include "support/QMConsoleCapture.h"

namespace veyrakit {

TEST(Console, DefaultLineLayoutCarriesTimestampProcessAndThread) {
    const std::string line = QMConsole::formatLine("FileLogger path: /tmp/x");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts,
                                 std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                                            "VeyraKit\\[(\\d+):(\\d+)\\] FileLogger path: /tmp/x")))
        << line;
    EXPECT_EQ(parts[1].str(), std::to_string(getpid()));
    EXPECT_EQ(parts[2].str(), std::to_string(gettid()));
}

TEST(Console, CapturesNestAndRestoreThePreviousSink) {
    std::vector<std::string> outer;
    QMConsole::setSink([&](const std::string& m) {
        outer.push_back(m);
        if (m == "first") {
            QMConsole::write("from inside the sink");
        }
    });
    {
        QMConsoleCapture capture;
        QMConsoleLog("Status code: %i", 200);
        QMConsoleLog("%@", std::string("{\n  \"a\" : 1\n}"));  // a multi-line message is one call
        {
            QMConsoleCapture inner;
            QMConsoleLog("inner only");
            EXPECT_EQ(inner.lines(), (std::vector<std::string>{"inner only"}));
        }
        EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Status code: 200", "{\n  \"a\" : 1\n}"}));
        EXPECT_TRUE(capture.contains("Status code: 200"));
        EXPECT_FALSE(capture.contains("Status code: 20"));
        capture.clear();
        EXPECT_TRUE(capture.lines().empty());
    }
    QMConsole::write("first");
    QMConsole::setSink(nullptr);
    EXPECT_EQ(outer, (std::vector<std::string>{"first", "from inside the sink"}));
}

TEST(Console, ConcurrentWritersProduceWholeLinesInEachWritersOrder) {
    QMConsoleCapture capture;
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                QMConsoleLog("writer %d line %d", t, i);
            }
        });
    }
    for (auto& w : writers) {
        w.join();
    }
    std::vector<int> next(4, 0);
    for (const auto& line : capture.lines()) {
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "writer %d line %d", &t, &i), 2) << line;
        EXPECT_EQ(i, next[t]++);
    }
    EXPECT_EQ(next, (std::vector<int>{200, 200, 200, 200}));
}

}  // namespace veyrakit
