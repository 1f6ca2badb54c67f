#include "tools/controlhost/HttpProblem.h"

namespace fliprugair::controlhost {

HttpProblem httpProblem(int status) {
  switch (status) {
    case 400:
      return {status, "The request cannot be read.", "Send HTTP/1.1: a line, headers, an empty line, the body."};
    case 403:
      return {status, "The request comes from the page of another site.", "Send it from a program, not from a page."};
    case 408:
      return {status, "The request did not come to its end in time.", "Send it whole within 20 seconds."};
    case 413:
      return {status, "The body is too large.", "Send at most 16 MiB."};
    case 414:
      return {status, "The address is too long.", "Send at most 8 KiB of it."};
    case 415:
      return {status, "The body is compressed in a way that this host cannot read.", "Use gzip, or nothing."};
    case 416:
      return {status, "The header Range cannot be read.", "Leave it out."};
    case 431:
      return {status, "The headers are too large.", "Send at most 64 KiB of them."};
    case 501:
      return {status, "The body is transferred in a way that this host cannot read.",
              "Send a Content-Length, or Transfer-Encoding: chunked."};
    case 503:
      return {status, "There are too many connections, or too many long bodies at once.",
              "Close some connections, and try again."};
    default:
      return {status, "This is no HTTP request that this host understands.", "Send HTTP/1.1."};
  }
}

HttpProblem noRoomProblem() {
  return {503, "There is no room for this body: too many long ones come at once.", "Send it again in a moment."};
}

std::string_view expectationOf(int status) {
  switch (status) {
    case 408:
      return "a request that comes to its end within 20 seconds";
    case 413:
      return "a body of at most 16 MiB and 20,000 values";
    case 414:
      return "an address of at most 8 KiB";
    case 415:
      return "a body in gzip, or as it is";
    case 431:
      return "headers of at most 8 KiB each, and 64 KiB in all";
    case 501:
      return "a Content-Length, or Transfer-Encoding: chunked";
    case 503:
      return "long bodies of 64 MiB at most at once";
    default:
      return "a request by HTTP/1.1, whole";
  }
}

std::string_view reasonPhrase(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 201:
      return "Created";
    case 202:
      return "Accepted";
    case 204:
      return "No Content";
    case 304:
      return "Not Modified";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 413:
      return "Payload Too Large";
    case 414:
      return "URI Too Long";
    case 415:
      return "Unsupported Media Type";
    case 429:
      return "Too Many Requests";
    case 431:
      return "Request Header Fields Too Large";
    case 500:
      return "Internal Server Error";
    case 501:
      return "Not Implemented";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "";
  }
}

bool canHaveBody(int status) { return status >= 200 && status != 204 && status != 304; }

}  // namespace fliprugair::controlhost
