#include "tools/page/PageResponses.h"

#include <nlohmann/json.hpp>

#include <charconv>

namespace varno::tool {

using Json = nlohmann::ordered_json;
using httplib::Request;
using httplib::Response;

const httplib::Headers& safeHeaders() {
  static const httplib::Headers kHeaders = {
      {"Content-Security-Policy",
       "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src "
       "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cache-Control", "no-store"},
  };
  return kHeaders;
}

void answer(Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", "text/plain; charset=utf-8");
}

void answerProblem(Response& response, int status, const std::string& problem) {
  response.status = status;
  response.set_content(
      Json({{"error", problem}}).dump(-1, ' ', false, Json::error_handler_t::replace), kJsonType);
}

std::string lastIdOf(const Request& request) {
  const std::string id = request.get_header_value("Last-Event-ID");
  return id.empty() ? request.get_param_value("after") : id;
}

RequestHead headOf(const Request& request) {
  RequestHead head;
  head.method = request.method;
  head.path = request.path;
  // Two of them would let each reader choose another one.
  if (request.get_header_value_count("Host") == 1) head.host = request.get_header_value("Host");
  head.origin = request.get_header_value("Origin");
  head.fetchSite = request.get_header_value("Sec-Fetch-Site");
  head.contentType = request.get_header_value("Content-Type");
  const std::string length = request.get_header_value("Content-Length");
  const auto [end, error] =
      std::from_chars(length.data(), length.data() + length.size(), head.length);
  head.hasLength = error == std::errc{} && end == length.data() + length.size() &&
                   !request.has_header("Transfer-Encoding");
  return head;
}

}  // namespace varno::tool
