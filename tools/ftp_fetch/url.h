#pragma once

#include <tovik/result.h>

#include <optional>
#include <string>
#include <string_view>

namespace ftp_fetch {

/// The parts of an FTP URL:
///
///     "ftp://" [ user [ ":" password ] "@" ] host [ ":" port ] [ "/" directory ]
///
/// User, password and directory are percent-decoded (RFC 3986, 2.1). The directory is relative to the login directory,
/// which is also the default, unless it begins with a slash of its own: ftp://host//srv/data.
struct Url {
  std::string user = "anonymous";
  std::optional<std::string> password;  // empty if none is given and the user is not anonymous
  std::string host;
  unsigned short port = 21;
  std::string directory;
};

/// Fails with the reason on any other text, and if a decoded part contains a NUL, or a line end, which would make it
/// two commands. After a failure the contents of url are unspecified.
tovik::Result parseUrl(std::string_view text, Url& url);

}  // namespace ftp_fetch
