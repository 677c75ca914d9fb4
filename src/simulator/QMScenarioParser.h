#pragma once
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/QMScenario.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Reads the plain-text scenario format of docs/scenarios.md. Anything malformed raises
// QMScenarioException naming the line and what is wrong; a scenario that parses is playable.
class QMScenarioParser : public QMObject {
  public:
    static std::shared_ptr<QMScenario> parse(const std::string& text,
                                             const std::string& sourceName = "scenario");
    // The source name is the path as given.
    static std::shared_ptr<QMScenario> parseFile(const std::string& path);

    explicit QMScenarioParser(std::string sourceName);
    std::shared_ptr<QMScenario> parseText(const std::string& text);

    // "1:02:03.5" -> 3723500; "90" -> 90000; nullopt when malformed.
    static std::optional<int64_t> parseTime(const std::string& text);

  private:
    struct Token {
        std::string text;
        std::optional<std::string> key;  // for key=value
    };
    struct Arguments {
        std::vector<std::string> positional;
        std::map<std::string, std::string> options;
    };
    struct Pending {
        QMScenarioStep step;
        bool recovery;  // the end of a timed stall, made by the parser
    };

    std::vector<Token> tokenize(const std::string& line) const;
    void directive(const std::vector<Token>& tokens);
    void variant(const std::vector<Token>& tokens);
    void step(const std::vector<Token>& tokens);
    void readArguments(QMScenarioStep& step, const std::vector<Token>& tokens);
    void checkSequence(const QMScenarioStep& step);
    void checkHeader();
    void finish();

    // The tokens from `from` on, with the count of plain arguments and the option names checked.
    Arguments arguments(const std::vector<Token>& tokens, std::size_t from, const std::string& keyword,
                        std::size_t minimum, std::size_t maximum,
                        std::initializer_list<const char*> optionNames) const;
    int64_t integer(const std::string& text, const std::string& what) const;
    double number(const std::string& text, const std::string& what) const;
    int64_t time(const std::string& text, const std::string& what) const;
    CGSize resolution(const std::string& text) const;
    [[noreturn]] void fail(const std::string& detail) const;

    std::string sourceName_;
    std::shared_ptr<QMScenario> scenario_;
    int line_ = 0;
    std::map<std::string, int> directiveLines_;
    std::vector<Pending> steps_;
    bool headerChecked_ = false;
    // Sequence checks.
    int64_t lastAt_ = 0;
    int readyLine_ = 0;
    int stallLine_ = 0;                   // an open stall, 0 when none
    std::optional<int64_t> stallEndsAt_;  // a timed stall's recovery time
    int overLine_ = 0;                    // the step after which playback is over
};

}  // namespace veyrakit
