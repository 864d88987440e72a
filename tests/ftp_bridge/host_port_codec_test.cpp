#include <gmock/gmock.h>
#include <tovik/ftp_bridge/ftp_bridge.h>

#include <string>

namespace tovik::ftp {
namespace {

Address at(const std::string& host, unsigned short port) {
  Address address(port);
  EXPECT_TRUE(address.set_host(host));
  return address;
}

std::string formatted(const Address& address) {
  std::string text = "what was there before";
  const Result result = ProtocolInterpreter::convertAddr(address, text);
  return result ? text : "failed: " + result.message;
}

/// The address that a text is parsed into, on top of 1.2.3.4:77, or the failure.
std::string parsed(const std::string& text) {
  Address address = at("1.2.3.4", 77);
  const Result result = ProtocolInterpreter::convertAddr(text, address);
  return (result ? "" : result.message + " -> ") + address.printInet();
}

TEST(HostPortText, HasTheHostThenTheHighAndTheLowByteOfThePort) {
  EXPECT_EQ(formatted(at("10.0.0.5", 1025)), "10,0,0,5,4,1");
  EXPECT_EQ(formatted(at("10.0.0.5", 49153)), "10,0,0,5,192,1");
  EXPECT_EQ(formatted(at("255.255.255.255", 65535)), "255,255,255,255,255,255");
  EXPECT_EQ(formatted(at("127.0.0.1", 255)), "127,0,0,1,0,255");
  EXPECT_EQ(formatted(at("127.0.0.1", 256)), "127,0,0,1,1,0");
}

TEST(HostPortText, EndsInTwoZerosForPortZero) { EXPECT_EQ(formatted(at("10.1.2.3", 0)), "10,1,2,3,0,0"); }

TEST(HostPortText, HasCommasForAllThreeDotsAndItsDigitsUnchanged) {
  EXPECT_EQ(formatted(at("192.168.101.202", 1)), "192,168,101,202,0,1");
}

TEST(HostPortText, IsReadAsHostAndPort) { EXPECT_EQ(parsed("10,1,2,3,4,1"), "10.1.2.3:1025"); }

TEST(HostPortText, IsReadWithExtraCommasAnywhere) {
  EXPECT_EQ(parsed(",,10,1,,2,3,4,1,"), "10.1.2.3:1025");
  EXPECT_EQ(parsed(",,,10,,,1,,,2,,,3,,,4,,,1,,,"), "10.1.2.3:1025");
}

TEST(HostPortText, IsRefusedUnlessItHasSixFields) {
  for (const char* text : {"10,1,2,3,4", "10,1,2,3,4,1,7", "", ",", ",,,,,,", "10.1.2.3", "(10,1,2,3,4)"})
    EXPECT_EQ(parsed(text), std::string("could not parse addr ") + text + " -> 1.2.3.4:77");
}

TEST(HostPortText, IsRefusedWithTheMessageOfAddressWhenTheHostIsInvalid) {
  for (const std::string text :
       {"10, 1, 2, 3, 4, 1", "a,b,c,d,4,1", "256,1,2,3,4,1", "10,1,2,-3,4,1", "01,1,2,3,4,1"}) {
    std::string host = text.substr(0, text.size() - (text[3] == ' ' ? 6 : 4));
    std::replace(host.begin(), host.end(), ',', '.');
    Address address(0);
    const std::string message = address.set_host(host).message;
    EXPECT_FALSE(message.empty());
    EXPECT_EQ(parsed(text), message + " -> 1.2.3.4:77") << "the port is not set either";
  }
}

TEST(HostPortText, KeepsTheBlanksOfItsHostFields) {
  Address address(0);
  EXPECT_EQ(ProtocolInterpreter::convertAddr("10, 1, 2, 3, 4, 1", address).message,
            address.set_host("10. 1. 2. 3").message);
}

TEST(HostPortText, HasThePortOfItsLastTwoFieldsWithoutACheckOfTheirRange) {
  const auto port = [](const std::string& fields) {
    Address address(77);
    EXPECT_TRUE(ProtocolInterpreter::convertAddr("10,1,2,3," + fields, address)) << fields;
    return address.port();
  };
  EXPECT_EQ(port("4,1"), 1025);
  EXPECT_EQ(port("255,255"), 65535);
  EXPECT_EQ(port("300,5"), 11269);
  EXPECT_EQ(port("256,0"), 0);
  EXPECT_EQ(port("0,70000"), 4464);
  EXPECT_EQ(port("1,300"), 556);
  EXPECT_EQ(port("255,256"), 0);
}

TEST(HostPortText, HasPortNumbersAsFarAsTheyAreNumbers) {
  EXPECT_EQ(parsed("10,1,2,3,x,y"), "10.1.2.3:0");
  EXPECT_EQ(parsed("10,1,2,3, 4,\t1"), "10.1.2.3:1025");
  EXPECT_EQ(parsed("10,1,2,3,+4,1x"), "10.1.2.3:1025");
  EXPECT_EQ(parsed("10,1,2,3,0x4,1"), "10.1.2.3:1") << "base 10 only";
  EXPECT_EQ(parsed("10,1,2,3,-1,0"), "10.1.2.3:65280");
  EXPECT_EQ(parsed("10,1,2,3,0,99999999999999999999999"), "10.1.2.3:65535");
}

TEST(HostPortText, RoundTripsEveryPort) {
  for (unsigned port = 0; port <= 65535; port += 251) {
    const Address address = at("10.20.30.40", static_cast<unsigned short>(port));
    EXPECT_EQ(parsed(formatted(address)), address.printInet());
  }
}

}  // namespace
}  // namespace tovik::ftp
