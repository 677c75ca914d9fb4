#pragma once
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace veyrakit {

// What the two diagnostic streams may carry: the AVPlayer reporter's session events (event
// names with their info keys and value types) and the movie player handler's event texts (fixed
// texts, and texts formatted from a value), and each stream's session description. Every
// function returns the problems it found, one readable sentence each; empty means as defined.
class QMDiagnosticSchema {
  public:
    enum class Stream { SessionEvents, DiagnosticEvents };

    // A movie player event text, recognised: the format it was made from (the fixed text itself
    // for a fixed one) and the value formatted into it, if any.
    struct Text {
        std::string format;
        std::optional<std::string> value;
    };

    // The record around an event: "index" and "timestamp" integers, a string "name", and for
    // session events an optional "info" object; no other key.
    static std::vector<std::string> problemsOfEventRecord(const nlohmann::ordered_json& event, Stream stream);
    // A session event's name, and its info keys and their value types, by the event's name.
    static std::vector<std::string> problemsOfSessionEvent(const nlohmann::ordered_json& event);
    static std::vector<std::string> problemsOfSessionDescription(const nlohmann::ordered_json& session,
                                                                 Stream stream);
    // nullopt for a text the movie player handler never records.
    static std::optional<Text> recognizeText(const std::string& text);
};

}  // namespace veyrakit
