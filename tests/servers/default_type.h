#pragma once

namespace test_servers {

/// How a server delivers a file to a session that has not chosen a type (RFC 959, 3.1.1). The protocol's own default is
/// ascii; a server that lets its owner choose is better set to binary for clients that choose none.
enum class DefaultType { ascii, binary };

}  // namespace test_servers
