#pragma once

#include <tovik/result.h>

#include <optional>
#include <string>
#include <string_view>

namespace ftp_fetch {

/// What an FTP URL says:
///
///     "ftp://" [ user [ ":" password ] "@" ] host [ ":" port ] [ "/" directory ]
///
/// User, password and directory are percent-decoded (RFC 3986, 2.1). The directory is the one that the login leads to
/// where none is given, and relative to it unless it begins with a slash of its own: ftp://host//srv/data.
struct Url {
  std::string user = "anonymous";
  std::optional<std::string> password;  // empty: none given, and the user is not anonymous
  std::string host;
  unsigned short port = 21;
  std::string directory;
};

/// Fails, naming the reason, on anything else, and where a decoded part holds a line end or a NUL: on the wire it would
/// be two commands. Then the URL is half filled.
tovik::Result parseUrl(std::string_view text, Url& url);

}  // namespace ftp_fetch
