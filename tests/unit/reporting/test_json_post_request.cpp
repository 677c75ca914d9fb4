#include <gtest/gtest.h>

#include "reporting/QMJSONPostRequest.h"

namespace veyrakit {

TEST(QMJSONPostRequestTest, LeadingHeadersComeBeforeContentTypeAndLength) {
    auto url = QMURL::URLWithString("https://h.example/player/init");
    auto request =
        QMJSONPostRequest::requestWithURL(url, R"({"a":"é"})", {{"User-Agent", "UA"}, {"X-Two", "2"}});
    EXPECT_EQ(request->HTTPMethod(), "POST");
    EXPECT_EQ(request->URL(), url);
    EXPECT_EQ(request->allHTTPHeaderFields(), (QMURLRequest::Headers{{"User-Agent", "UA"},
                                                                     {"X-Two", "2"},
                                                                     {"Content-Type", "application/json"},
                                                                     {"Content-Length", "10"}}));  // bytes
    EXPECT_EQ(request->HTTPBody(), std::optional<std::string>(R"({"a":"é"})"));

    // Built before its body, as the REST loader does for any content type and method.
    auto plain = QMJSONPostRequest::requestWithoutBody(url, {}, "text/plain", "PUT");
    QMJSONPostRequest::setBody(*plain, std::nullopt);
    EXPECT_EQ(plain->HTTPMethod(), "PUT");
    EXPECT_EQ(plain->allHTTPHeaderFields(),
              (QMURLRequest::Headers{{"Content-Type", "text/plain"}, {"Content-Length", "0"}}));
    EXPECT_FALSE(plain->HTTPBody());
}

}  // namespace veyrakit
