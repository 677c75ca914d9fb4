#include "collector/QMJSONLayout.h"

namespace veyrakit {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isPunctuation(char c) { return c == '{' || c == '}' || c == '[' || c == ']' || c == ':' || c == ','; }

// The end of the string token that opens at `start`: one past its closing quote.
size_t stringEnd(const std::string& text, size_t start) {
    size_t i = start + 1;
    while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
    return i < text.size() ? i + 1 : text.size();
}

void newline(std::string& out, int depth) {
    out += '\n';
    out.append(static_cast<size_t>(depth > 0 ? depth : 0) * 2, ' ');
}

bool closes(const std::string& open, const std::string& close) {
    return (open == "{" && close == "}") || (open == "[" && close == "]");
}

}  // namespace

std::vector<std::string> QMJSONLayout::tokens(const std::string& text) {
    std::vector<std::string> result;
    size_t i = 0;
    while (i < text.size()) {
        if (isSpace(text[i])) {
            ++i;
        } else if (text[i] == '"') {
            size_t end = stringEnd(text, i);
            result.push_back(text.substr(i, end - i));
            i = end;
        } else if (isPunctuation(text[i])) {
            result.emplace_back(1, text[i++]);
        } else {
            size_t end = i;
            while (end < text.size() && !isSpace(text[end]) && !isPunctuation(text[end]) && text[end] != '"')
                ++end;
            result.push_back(text.substr(i, end - i));
            i = end;
        }
    }
    return result;
}

std::string QMJSONLayout::compact(const std::string& text) {
    std::string out;
    for (const auto& token : tokens(text)) out += token;
    return out;
}

std::string QMJSONLayout::pretty(const std::string& text) {
    auto list = tokens(text);
    std::string out;
    int depth = 0;
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string& token = list[i];
        if (token == "{" || token == "[") {
            out += token;
            if (i + 1 < list.size() && closes(token, list[i + 1])) {
                out += list[++i];
            } else {
                newline(out, ++depth);
            }
        } else if (token == "}" || token == "]") {
            newline(out, --depth);
            out += token;
        } else if (token == ",") {
            out += ',';
            newline(out, depth);
        } else if (token == ":") {
            out += " : ";
        } else {
            out += token;
        }
    }
    return out;
}

}  // namespace veyrakit
