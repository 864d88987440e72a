#pragma once

#include <gtest/gtest.h>

#include "ftp_serve/ftp_server.h"
#include "support/leftovers.h"
#include "support/sample_bytes.h"
#include "support/temp_directory.h"

namespace testing_support {

/// A server for a small tree, in this process. Each test ends by proving that it leaves nothing behind.
class ServingTest : public testing::Test {
 protected:
  ServingTest() {
    root.write("hello.txt", "hello\n");
    root.write("empty", "");
    root.write("data/a b", "with a blank");
    root.write("data/large", large);
  }

  void serve(const std::string& user = "", const std::string& password = "", unsigned workers = 1) {
    ftp_serve::Options options;
    options.root = root.path();
    ASSERT_TRUE(options.listen.set_host("127.0.0.1"));
    options.user = user;
    options.password = password;
    options.workers = workers;
    server = std::make_unique<ftp_serve::FtpServer>(options);
    const tovik::Result started = server->start();
    ASSERT_TRUE(started) << started.message;
  }

  void TearDown() override {
    server.reset();
    EXPECT_EQ(heldInTheEnd(before_), before_);
  }

  const std::string large = sampleBytes(8 << 20);
  const TempDirectory root;
  std::unique_ptr<ftp_serve::FtpServer> server;

 private:
  const Held before_ = heldAtRest();
};

}  // namespace testing_support
