#include <gtest/gtest.h>

#include <string>

#include "platform/curl/ControlHostURL.h"

namespace fliprugair {

namespace {

std::string urlOf(std::string_view hostname, LoopbackScheme scheme = LoopbackScheme::http) {
  const std::optional<ControlHostURL> url = controlHostURL(hostname, scheme);
  return url ? url->text : "none";
}

TEST(ControlHostURL, AHostIsAskedOverTLS) {
  EXPECT_EQ(urlOf("host.example"), "https://host.example/marlune/v4");
  EXPECT_EQ(urlOf("host.example:8443"), "https://host.example:8443/marlune/v4");
  EXPECT_EQ(urlOf("192.0.2.1"), "https://192.0.2.1/marlune/v4");
  EXPECT_EQ(urlOf("[2001:db8::1]:444"), "https://[2001:db8::1]:444/marlune/v4");
  EXPECT_EQ(urlOf("xn--bcher-kva.example"), "https://xn--bcher-kva.example/marlune/v4");
}

TEST(ControlHostURL, OnlyALoopbackHostIsAskedInPlain) {
  for (const char* host : {"localhost", "LOCALHOST", "127.0.0.1", "127.255.3.4", "[::1]", "[0:0::1]", "localhost:80"}) {
    EXPECT_EQ(urlOf(host), std::string("http://") + host + "/marlune/v4");
  }
  for (const char* host : {"localhost.example", "127.0.0.1.example", "128.0.0.1", "0.0.0.0", "127.1", "0x7f.0.0.1",
                           "2130706433", "127.0.0.01", "[::]", "[::ffff:127.0.0.1]", "[fe80::1]", "notlocalhost"}) {
    EXPECT_EQ(urlOf(host), std::string("https://") + host + "/marlune/v4");
  }
}

TEST(ControlHostURL, ALoopbackHostIsAskedOverTLSWhenToldSo) {
  EXPECT_EQ(urlOf("localhost:8443", LoopbackScheme::https), "https://localhost:8443/marlune/v4");
  EXPECT_EQ(urlOf("[::1]", LoopbackScheme::https), "https://[::1]/marlune/v4");
}

TEST(ControlHostURL, WhatIsNoHostNameHasNoURL) {
  for (const std::string_view hostname : {std::string_view(""),
                                          std::string_view(" "),
                                          std::string_view("host example"),
                                          std::string_view(" host"),
                                          std::string_view("host\r\nX-Header: 1"),
                                          std::string_view("host\n"),
                                          std::string_view("host/path"),
                                          std::string_view("http://localhost"),
                                          std::string_view("https://host.example"),
                                          std::string_view("user@host"),
                                          std::string_view("localhost:80@host.example"),
                                          std::string_view("host?query"),
                                          std::string_view("host#part"),
                                          std::string_view("host\\other"),
                                          std::string_view("host%2fpath"),
                                          std::string_view("host:"),
                                          std::string_view("host:0"),
                                          std::string_view("host:65536"),
                                          std::string_view("host:-1"),
                                          std::string_view("host:+1"),
                                          std::string_view("host:000080"),
                                          std::string_view("host:80:80"),
                                          std::string_view("host:80/"),
                                          std::string_view(":80"),
                                          std::string_view("::1"),
                                          std::string_view("[::1"),
                                          std::string_view("[]"),
                                          std::string_view("[host]"),
                                          std::string_view("[::1]x"),
                                          std::string_view("[::1]x:80"),
                                          std::string_view("x[::1]"),
                                          std::string_view("[::1]]"),
                                          std::string_view("[fe80::1%25eth0]"),
                                          std::string_view("h\xC3\xB6st.example"),
                                          std::string_view("host\xEF\xBC\x8Fpath"),
                                          std::string_view("host\0.example", 13),
                                          std::string_view("[::1\0]", 6)}) {
    EXPECT_EQ(urlOf(hostname), "none") << hostname;
  }
  EXPECT_EQ(urlOf(std::string(254, 'a')), "none");
}

}  // namespace

}  // namespace fliprugair
