#include "collector/QMDiagnosticChecks.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>

#include "collector/QMDiagnosticSchema.h"
#include "collector/QMJSONLayout.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;
using Post = QMSessionView::DiagnosticPost;
using Stream = QMDiagnosticSchema::Stream;

std::string postRef(int64_t requestId) { return "post #" + std::to_string(requestId); }

// One event with the post it came in.
struct Stamped {
    int64_t index;
    int64_t timestamp;
    std::string name;
    int64_t requestId;
};

std::optional<Stamped> stamped(const Json& event, int64_t requestId) {
    if (!event.contains("index") || !event["index"].is_number_integer() || !event.contains("timestamp") ||
        !event["timestamp"].is_number_integer()) {
        return std::nullopt;
    }
    return Stamped{event["index"].get<int64_t>(), event["timestamp"].get<int64_t>(),
                   event.value("name", std::string()), requestId};
}

QMProtocolCheck undecidedWithoutPosts(QMProtocolCheck check, const std::vector<Post>& posts) {
    if (posts.empty()) check.setUndecided(QMProtocolCheck::Status::NotApplicable);
    return check;
}

void checkRequest(QMProtocolCheck& check, const Post& post) {
    const auto& request = *post.request;
    if (request.method != "POST") check.fail(request.id, "sent with " + request.method + ", not POST");
    if (auto type = request.header("Content-Type"); type != "application/json")
        check.fail(request.id, "Content-Type \"" + type.value_or("") + "\", expected \"application/json\"");
}

// The envelope of both streams: {"session": {...}, "events": [at least one record]}.
void checkEnvelope(QMProtocolCheck& check, const Post& post, Stream stream) {
    const int64_t id = post.request->id;
    if (!post.body) {
        check.fail(id, "the body is not a JSON object");
        return;
    }
    for (const auto& [key, value] : post.body->items()) {
        if (key != "session" && key != "events")
            check.fail(id, "the body carries the unknown key \"" + key + "\"");
    }
    if (!post.body->contains("session")) check.fail(id, "the body has no \"session\"");
    for (auto& problem : QMDiagnosticSchema::problemsOfSessionDescription(post.session(), stream))
        check.fail(id, problem);
    auto events = post.body->find("events");
    if (events == post.body->end() || !events->is_array() || events->empty()) {
        check.fail(id, "the body has no \"events\" array with at least one event");
        return;
    }
    for (const auto& event : *events) {
        for (auto& problem : QMDiagnosticSchema::problemsOfEventRecord(event, stream))
            check.fail(id, problem);
    }
}

// Sorted by index: the first is "init" with index 1, then each index once and one above the
// one before, at a time no earlier than the one before.
void checkIndexRun(QMProtocolCheck& check, std::vector<Stamped> events, const std::string& stream) {
    std::stable_sort(events.begin(), events.end(),
                     [](const Stamped& a, const Stamped& b) { return a.index < b.index; });
    if (events.empty()) return;
    const Stamped& first = events.front();
    if (first.index != 1)
        check.fail(first.requestId,
                   stream + ": indexes start at " + std::to_string(first.index) + " instead of 1");
    else if (first.name != "init")
        check.fail(first.requestId,
                   stream + ": the event with index 1 is \"" + first.name + "\", not \"init\"");
    for (size_t i = 1; i < events.size(); ++i) {
        const Stamped& previous = events[i - 1];
        const Stamped& event = events[i];
        const std::string index = std::to_string(event.index);
        if (event.index == previous.index) {
            check.fail(event.requestId, stream + ": index " + index + " used again (first in " +
                                            postRef(previous.requestId) + ")");
            continue;
        }
        if (event.index != previous.index + 1)
            check.fail(event.requestId, stream + ": index " + index + " follows " +
                                            std::to_string(previous.index) +
                                            ", the indexes between are missing");
        if (event.timestamp < previous.timestamp)
            check.fail(event.requestId, stream + ": event " + index + " at " +
                                            std::to_string(event.timestamp) + " is earlier than event " +
                                            std::to_string(previous.index) + " at " +
                                            std::to_string(previous.timestamp));
    }
}

std::string temporarySessionOf(const Post& post) {
    const Json session = post.session();
    if (!session.is_object() || !session.contains("temporarySessionId") ||
        !session["temporarySessionId"].is_string()) {
        return "";
    }
    return session["temporarySessionId"].get<std::string>();
}

}  // namespace

std::vector<QMProtocolCheck> QMDiagnosticChecks::all(const QMSessionView& view) {
    return {sessionEventsWellFormed(view),    sessionEventsSequence(view),    sessionEventsNames(view),
            diagnosticEventsWellFormed(view), diagnosticEventsSequence(view), diagnosticEventsTexts(view)};
}

QMProtocolCheck QMDiagnosticChecks::sessionEventsWellFormed(const QMSessionView& view) {
    QMProtocolCheck check("sessionEvents.wellFormed",
                          "AVPlayer session event posts are pretty-printed JSON with a session and events");
    for (const auto& post : view.sessionEventPosts()) {
        checkRequest(check, post);
        checkEnvelope(check, post, Stream::SessionEvents);
        if (post.body && post.request->body != QMJSONLayout::pretty(post.request->body))
            check.fail(post.request->id,
                       "the body is not pretty-printed (two-space indentation, \" : \" after each key)");
    }
    return undecidedWithoutPosts(std::move(check), view.sessionEventPosts());
}

QMProtocolCheck QMDiagnosticChecks::sessionEventsSequence(const QMSessionView& view) {
    QMProtocolCheck check(
        "sessionEvents.sequence",
        "per temporary session: \"init\" first with index 1, indexes gap-free, times rising");
    std::map<std::string, std::vector<Stamped>> byTemporarySession;
    for (const auto& post : view.sessionEventPosts()) {
        auto& events = byTemporarySession[temporarySessionOf(post)];
        for (const auto& event : post.events()) {
            if (auto each = stamped(event, post.request->id)) events.push_back(*each);
        }
    }
    for (auto& [temporary, events] : byTemporarySession) {
        checkIndexRun(check, std::move(events), "temporary session \"" + temporary + "\"");
    }
    return undecidedWithoutPosts(std::move(check), view.sessionEventPosts());
}

QMProtocolCheck QMDiagnosticChecks::sessionEventsNames(const QMSessionView& view) {
    QMProtocolCheck check("sessionEvents.names", "session events carry known names and their info keys");
    for (const auto& post : view.sessionEventPosts()) {
        for (const auto& event : post.events()) {
            for (auto& problem : QMDiagnosticSchema::problemsOfSessionEvent(event))
                check.fail(post.request->id, problem);
        }
    }
    return undecidedWithoutPosts(std::move(check), view.sessionEventPosts());
}

QMProtocolCheck QMDiagnosticChecks::diagnosticEventsWellFormed(const QMSessionView& view) {
    QMProtocolCheck check("diagnosticEvents.wellFormed",
                          "movie player diagnostic posts are compact JSON with a session and events");
    for (const auto& post : view.diagnosticEventPosts()) {
        checkRequest(check, post);
        checkEnvelope(check, post, Stream::DiagnosticEvents);
        if (post.body && post.request->body != QMJSONLayout::compact(post.request->body))
            check.fail(post.request->id, "the body is not compact JSON (white space outside strings)");
    }
    return undecidedWithoutPosts(std::move(check), view.diagnosticEventPosts());
}

QMProtocolCheck QMDiagnosticChecks::diagnosticEventsSequence(const QMSessionView& view) {
    QMProtocolCheck check("diagnosticEvents.sequence",
                          "indexes run on by one within an attachment (index 1 starts one), times rising");
    std::optional<Stamped> previous;
    for (const auto& post : view.diagnosticEventPosts()) {
        for (const auto& record : post.events()) {
            auto event = stamped(record, post.request->id);
            if (!event) continue;
            const std::string index = std::to_string(event->index);
            if (event->index == 1) {
                previous = event;
                continue;
            }
            if (!previous)
                check.fail(event->requestId, "indexes start at " + index + " instead of 1");
            else if (previous->index == INT64_MAX || event->index != previous->index + 1)
                check.fail(event->requestId, "index " + index + " follows " +
                                                 std::to_string(previous->index) + " (" +
                                                 postRef(previous->requestId) + ")");
            else if (event->timestamp < previous->timestamp)
                check.fail(event->requestId, "event " + index + " at " + std::to_string(event->timestamp) +
                                                 " is earlier than event " + std::to_string(previous->index) +
                                                 " at " + std::to_string(previous->timestamp));
            previous = event;
        }
    }
    return undecidedWithoutPosts(std::move(check), view.diagnosticEventPosts());
}

QMProtocolCheck QMDiagnosticChecks::diagnosticEventsTexts(const QMSessionView& view) {
    QMProtocolCheck check("diagnosticEvents.texts",
                          "every event text is one the movie player handler records");
    for (const auto& post : view.diagnosticEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            if (name == event.end() || !name->is_string()) continue;
            if (!QMDiagnosticSchema::recognizeText(name->get<std::string>()))
                check.fail(post.request->id, "event " + event.value("index", Json()).dump() +
                                                 " has the text " + name->dump() +
                                                 ", which the handler never records");
        }
    }
    return undecidedWithoutPosts(std::move(check), view.diagnosticEventPosts());
}

}  // namespace veyrakit
