#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <tovik/address.h>

#include <array>
#include <sstream>
#include <string>

namespace tovik {
namespace {

Address addressOf(const std::string& host, unsigned short port) {
  Address address(port);
  EXPECT_TRUE(address.set_host(host));
  return address;
}

TEST(Address, WithOnlyAPortHasAnyHost) { EXPECT_EQ(Address(21).printInet(), "0.0.0.0:21"); }

TEST(Address, ByDefaultHasAnyHostAndAnyPort) { EXPECT_EQ(Address().printInet(), "0.0.0.0:0"); }

TEST(Address, PrintsHostAndPort) { EXPECT_EQ(addressOf("10.0.0.5", 1025).printInet(), "10.0.0.5:1025"); }

TEST(Address, PrintsTheLargestNumbers) {
  EXPECT_EQ(addressOf("255.255.255.255", 65535).printInet(), "255.255.255.255:65535");
}

TEST(Address, PrintsTheSameTextToAStream) {
  std::ostringstream text;
  const Address address = addressOf("10.0.0.5", 1025);
  address.print(text);
  text << ' ' << address;
  EXPECT_EQ(text.str(), "10.0.0.5:1025 10.0.0.5:1025");
}

TEST(Address, StreamsTheTextOfADerivedClass) {
  class Named : public Address {
   public:
    void print(std::ostream& out) const override { out << "home"; }
  };
  std::ostringstream text;
  text << Named();
  EXPECT_EQ(text.str(), "home");
}

TEST(Address, KeepsItsHostWhenThePortChanges) {
  Address address = addressOf("10.0.0.5", 1025);
  address.set_port(65535);
  EXPECT_EQ(address.port(), 65535);
  EXPECT_EQ(address.printInet(), "10.0.0.5:65535");
}

TEST(Address, KeepsItsPortWhenTheHostChanges) {
  Address address(1025);
  ASSERT_TRUE(address.set_host("192.168.0.1"));
  EXPECT_EQ(address.printInet(), "192.168.0.1:1025");
}

TEST(Address, TakesAndReturnsTheHostInNetworkOrder) {
  in_addr host{};
  addressOf("1.2.3.4", 1).extract_addr(&host);
  EXPECT_EQ(host.s_addr, htonl(0x01020304));
  Address other(7);
  other.insert_addr(&host);
  EXPECT_EQ(other.printInet(), "1.2.3.4:7");
}

TEST(Address, HasTheNativeForm) {
  const sockaddr_in native = addressOf("1.2.3.4", 80).native();
  EXPECT_EQ(native.sin_family, AF_INET);
  EXPECT_EQ(ntohs(native.sin_port), 80);
  EXPECT_EQ(Address(native).printInet(), "1.2.3.4:80");
}

TEST(Address, EqualsAnAddressWithTheSameHostAndPort) {
  EXPECT_TRUE(addressOf("1.2.3.4", 5) == addressOf("1.2.3.4", 5));
  EXPECT_FALSE(addressOf("1.2.3.4", 5) == addressOf("1.2.3.4", 6));
  EXPECT_FALSE(addressOf("1.2.3.4", 5) == addressOf("1.2.3.5", 5));
}

TEST(Address, NtopWritesTheTextAndTheTerminatingNul) {
  const in_addr host{htonl(0xffffffff)};
  std::array<char, 16> text;
  text.fill('?');
  ASSERT_TRUE(Address::ntop(text.data(), text.size(), &host));
  EXPECT_STREQ(text.data(), "255.255.255.255");
}

TEST(Address, NtopFailsIfTheSizeIsTooSmallAndWritesNothingBeyondIt) {
  const in_addr host{htonl(0xffffffff)};
  for (unsigned long size = 0; size < 16; ++size) {
    std::string text(16, '?');
    const Result result = Address::ntop(text.data(), size, &host);
    EXPECT_FALSE(result) << size;
    EXPECT_EQ(result.message, "an IPv4 address does not fit in " + std::to_string(size) + " bytes");
    EXPECT_EQ(text.substr(size), std::string(16 - size, '?'));
  }
}

class AcceptedHost : public ::testing::TestWithParam<std::string> {};

TEST_P(AcceptedHost, PrintsAsItWasGiven) { EXPECT_EQ(addressOf(GetParam(), 1).printInet(), GetParam() + ":1"); }

INSTANTIATE_TEST_SUITE_P(Address, AcceptedHost,
                         ::testing::Values("0.0.0.0", "1.2.3.4", "127.0.0.1", "255.255.255.255", "10.20.130.240"));

class RefusedHost : public ::testing::TestWithParam<std::string> {};

TEST_P(RefusedHost, FailsWithTheTextAndKeepsTheHost) {
  Address address = addressOf("10.0.0.5", 1025);
  const Result result = address.set_host(GetParam());
  EXPECT_FALSE(result);
  EXPECT_EQ(result.message, "not an IPv4 address: " + GetParam());
  EXPECT_EQ(address.printInet(), "10.0.0.5:1025");
}

INSTANTIATE_TEST_SUITE_P(Address, RefusedHost,
                         ::testing::Values("", "1", "1.2.3", "1.2.3.", "1.2.3.4.", ".1.2.3", "1..2.3", "1.2.3.4.5",
                                           "256.1.1.1", "1.1.1.256", "1.1.1.1000", "-1.2.3.4", "+1.2.3.4", "1.2.3.-4",
                                           " 1.2.3.4", "1.2.3.4 ", "1. 2.3.4", "1.2.3.4\n", "1.2.3.4\r\n", "\t1.2.3.4",
                                           "01.2.3.4", "1.2.3.04", "1.2.003.4", "00.0.0.0", "0x1.2.3.4", "1.2.3.a",
                                           "localhost", "1.2.3.4:5", "1,2,3,4", "::1", "::ffff:1.2.3.4", "16909060",
                                           std::string("1.2.3.4\0", 8), std::string("1.2.3.4\0x", 9),
                                           std::string("\0", 1)));

}  // namespace
}  // namespace tovik
