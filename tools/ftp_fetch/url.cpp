#include "ftp_fetch/url.h"

#include <charconv>

namespace ftp_fetch {

namespace {

constexpr std::string_view scheme = "ftp://";

/// Removes the text before a separator, and the separator, and returns that text; null if there is no separator.
std::optional<std::string_view> cutBefore(std::string_view& text, std::size_t separator) {
  if (separator == std::string_view::npos) return std::nullopt;
  const std::string_view head = text.substr(0, separator);
  text.remove_prefix(separator + 1);
  return head;
}

bool readHex(std::string_view digits, unsigned& value) {
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, value, 16);
  return digits.size() == 2 && error == std::errc() && rest == end;
}

tovik::Result decode(std::string_view text, const char* part, std::string& decoded) {
  decoded.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    unsigned value = 0;
    if (!readHex(text.substr(i + 1, 2), value)) return tovik::failure(std::string("bad % in the ") + part);
    decoded += static_cast<char>(value);
    i += 2;
  }
  if (decoded.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
    return tovik::failure(std::string("line end or NUL in the ") + part);
  return tovik::Success;
}

tovik::Result parseLogin(std::string_view login, Url& url) {
  const auto user = cutBefore(login, login.find(':'));
  if (user) {
    url.password.emplace();
    if (tovik::Result decoded = decode(login, "password", *url.password); !decoded) return decoded;
  }
  if (tovik::Result decoded = decode(user.value_or(login), "user", url.user); !decoded) return decoded;
  return url.user.empty() ? tovik::failure("no user before the @") : tovik::Success;
}

tovik::Result parsePort(std::string_view text, unsigned short& port) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && rest == end && port != 0 ? tovik::Success
                                                          : tovik::failure("bad port " + std::string(text));
}

tovik::Result parseHost(std::string_view text, Url& url) {
  if (text.starts_with('[')) return tovik::failure("IPv6 addresses are not supported");
  const auto host = cutBefore(text, text.find(':'));
  url.host = host.value_or(text);
  if (url.host.empty()) return tovik::failure("no host");
  if (url.host.find_first_of(std::string_view(" \t\r\n\0", 5)) != std::string::npos) return tovik::failure("bad host");
  return host ? parsePort(text, url.port) : tovik::Success;
}

}  // namespace

tovik::Result parseUrl(std::string_view text, Url& url) {
  url = {};
  if (!text.starts_with(scheme)) return tovik::failure("not an ftp:// URL");
  text.remove_prefix(scheme.size());

  std::string_view directory;
  if (const auto authority = cutBefore(text, text.find('/'))) {
    directory = text;
    text = *authority;
  }
  // The last @: unescaped ones in passwords are common, although they are not correct.
  if (const auto login = cutBefore(text, text.rfind('@')))
    if (tovik::Result parsed = parseLogin(*login, url); !parsed) return parsed;
  if (!url.password && url.user == "anonymous") url.password = "anonymous@";
  if (tovik::Result parsed = parseHost(text, url); !parsed) return parsed;
  return decode(directory, "directory", url.directory);
}

}  // namespace ftp_fetch
