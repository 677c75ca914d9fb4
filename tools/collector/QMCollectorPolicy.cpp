#include "collector/QMCollectorPolicy.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "collector/QMReportSchema.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

struct FieldType {
    std::string name;
    std::string description;
    std::function<bool(const Json&)> accepts;
};

const std::vector<FieldType>& fieldTypes() {
    auto integer = [](const Json& v) { return v.is_number_integer(); };
    auto boolean = [](const Json& v) { return v.is_boolean(); };
    auto status = [](const Json& v) { return v.is_number_integer() && v >= 100 && v <= 599; };
    auto skip = [](const Json& v) {
        return v.is_number_integer() ||
               (v.is_string() && QMReportSchema::isDecimalText(v.get<std::string>()));
    };
    auto viewer = [](const Json& v) { return v.is_string() || v.is_null(); };
    static const std::vector<FieldType> types{
        {"init.status", "an HTTP status code (100 to 599)", status},
        {"init.refuse", "a boolean", boolean},
        {"init.issueSessionId", "a boolean", boolean},
        {"init.intervalSeconds", "an integer (milliseconds)", integer},
        {"init.skipReports", "an integer or a string holding an integer", skip},
        {"init.sendLog", "a boolean", boolean},
        {"init.logQueueSize", "an integer", integer},
        {"init.offerViewerId", "a string or null", viewer},
        {"report.status", "an HTTP status code (100 to 599)", status},
        {"report.skipReports", "an integer or a string holding an integer", skip},
        {"onDemand.status", "an HTTP status code (100 to 599)", status},
    };
    return types;
}

const FieldType* fieldType(const std::string& name) {
    for (const auto& type : fieldTypes()) {
        if (type.name == name) return &type;
    }
    return nullptr;
}

Json readDocument(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw QMCollectorPolicy::Error("cannot read policy file '" + path + "'");
    std::stringstream text;
    text << in.rdbuf();
    Json document = Json::parse(text.str(), nullptr, false);
    if (document.is_discarded())
        throw QMCollectorPolicy::Error("policy file '" + path + "' is not valid JSON");
    return document;
}

}  // namespace

QMCollectorPolicy::QMCollectorPolicy() {
    fields_["init.status"] = QMCollectorSequence::fromJSON(200);
    fields_["init.refuse"] = QMCollectorSequence::fromJSON(false);
    fields_["init.issueSessionId"] = QMCollectorSequence::fromJSON(true);
    fields_["init.intervalSeconds"] = QMCollectorSequence::fromJSON(10000);
    fields_["init.skipReports"] = QMCollectorSequence::fromJSON(0);
    fields_["report.status"] = QMCollectorSequence::fromJSON(200);
    fields_["report.skipReports"] = QMCollectorSequence::fromJSON(0);
    fields_["onDemand.status"] = QMCollectorSequence::fromJSON(200);
}

QMCollectorPolicy QMCollectorPolicy::fromJSON(const nlohmann::ordered_json& document) {
    if (!document.is_object()) throw Error("a policy must be a JSON object");
    QMCollectorPolicy policy;
    for (const auto& [section, fields] : document.items()) {
        if (section == "sessionIdleMs") {
            if (!fields.is_number_integer()) throw Error("'sessionIdleMs' must be an integer");
            policy.setSessionIdleMillis(fields.get<int64_t>());
            continue;
        }
        if (section != "init" && section != "report" && section != "onDemand") {
            throw Error("unknown policy section '" + section + "'");
        }
        if (!fields.is_object()) throw Error("policy section '" + section + "' must be an object");
        for (const auto& [name, value] : fields.items()) {
            policy.set(section + "." + name, QMCollectorSequence::fromJSON(value));
        }
    }
    return policy;
}

QMCollectorPolicy QMCollectorPolicy::fromFile(const std::string& path) {
    try {
        return fromJSON(readDocument(path));
    } catch (const Error& error) {
        if (std::string(error.what()).find(path) != std::string::npos) throw;
        throw Error("policy file '" + path + "': " + error.what());
    }
}

void QMCollectorPolicy::set(const std::string& field, const QMCollectorSequence& values) {
    const FieldType* type = fieldType(field);
    if (type == nullptr) throw Error("unknown policy field '" + field + "'");
    if (values.empty()) throw Error("'" + field + "' needs at least one value");
    for (const auto& value : values.values()) {
        if (value != QMCollectorSequence::absentMarker() && !type->accepts(value)) {
            throw Error("'" + field + "' must be " + type->description + " (or a list of them), got " +
                        value.dump());
        }
    }
    fields_[field] = values;
}

std::optional<nlohmann::ordered_json> QMCollectorPolicy::valueAt(const std::string& field,
                                                                 size_t index) const {
    auto it = fields_.find(field);
    if (it == fields_.end()) return std::nullopt;
    return it->second.valueAt(index);
}

bool QMCollectorPolicy::isSet(const std::string& field) const { return fields_.count(field) != 0; }

void QMCollectorPolicy::setSessionIdleMillis(int64_t millis) {
    if (millis <= 0) throw Error("the session idle time must be positive");
    sessionIdleMillis_ = millis;
}

nlohmann::ordered_json QMCollectorPolicy::toJSON() const {
    Json document = Json::object();
    for (const auto& type : fieldTypes()) {
        auto it = fields_.find(type.name);
        if (it == fields_.end()) continue;
        size_t dot = type.name.find('.');
        document[type.name.substr(0, dot)][type.name.substr(dot + 1)] = it->second.toJSON();
    }
    document["sessionIdleMs"] = sessionIdleMillis_;
    return document;
}

const std::vector<std::string>& QMCollectorPolicy::fieldNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        for (const auto& type : fieldTypes()) result.push_back(type.name);
        return result;
    }();
    return names;
}

int64_t QMCollectorPolicy::integerValue(const nlohmann::ordered_json& value) {
    if (value.is_number_integer()) return value.get<int64_t>();
    if (value.is_number_float()) return static_cast<int64_t>(value.get<double>());
    if (value.is_string()) return std::strtoll(value.get<std::string>().c_str(), nullptr, 10);
    return 0;
}

}  // namespace veyrakit
