#include <gtest/gtest.h>
#include <httplib.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "controlhost/Socket.h"
#include "controlhost/TemporaryFile.h"
#include "tools/controlhost/HttpHeaders.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

namespace {

class SavedRequestsTest : public testing::Test {
 protected:
  ControlHostOptions options(std::size_t capacity = 10) const { return {.capacity = capacity, .savePath = path_}; }

  test::TemporaryFile file_{""};
  const std::string path_ = file_.path() + ".sqlite";
};

TEST_F(SavedRequestsTest, AreThereAgainAtTheNextStart) {
  std::vector<ReceivedRequest> before;
  {
    ControlHost host(options());
    test::httpPost(host.port(), "/marlune/v4", std::string("\0\xFF", 2));
    test::post(host.port(), Array{Value{{"action", "event"}, {"marlune_device_id", "MI1"}}});
    before = host.requests();
  }
  ControlHost host(options());
  const std::vector<ReceivedRequest> after = host.requests();
  ASSERT_EQ(after.size(), 2u);
  for (std::size_t index = 0; index < 2; ++index) {
    EXPECT_EQ(wholeOf(after[index]), wholeOf(before[index]));
  }
  test::post(host.port(), Value{{"action", "init"}});
  EXPECT_EQ(host.requests().back().id, 3);
}

TEST_F(SavedRequestsTest, AreThereAgainByteByByteWhateverTheirHeadersHold) {
  const std::string value = "caf\xE9 \xC3\xA9 \x80\xFF";
  {
    ControlHost host(options());
    const test::Socket client(host.port());
    client.send("POST /marlune/v4?\xE9 HTTP/1.1\r\nX-Odd: " + value +
                "\r\nX-Even: \xC3\xA9\r\nConnection: close\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_EQ(client.reply().rfind("HTTP/1.1 400", 0), 0u);
  }
  ControlHost host(options());
  const ReceivedRequest request = host.requests().at(0);
  EXPECT_EQ(headerOf(request.headers, "X-Odd"), value);
  EXPECT_EQ(request.path, "/marlune/v4?\xE9");
  const Dictionary shown = wholeOf(request).dictionary();
  EXPECT_EQ(shown["headers"].array()[0], Value(Array{"X-Odd", "caf\u00E9 \u00C3\u00A9 \u0080\u00FF", "latin-1"}));
  EXPECT_EQ(shown["headers"].array()[1], Value(Array{"X-Even", "\u00E9"}));
  EXPECT_EQ(shown["path"], Value("/marlune/v4?\u00E9"));
  EXPECT_EQ(shown["path_coding"], Value("latin-1"));
}

TEST_F(SavedRequestsTest, AreNotForgottenWithThoseInMemory) {
  {
    ControlHost host(options(2));
    for (int number = 0; number < 5; ++number) test::post(host.port(), Value{{"action", "init"}});
    EXPECT_EQ(host.requests().size(), 2u);
  }
  EXPECT_EQ(ControlHost(options(10)).requests().size(), 5u);
}

TEST_F(SavedRequestsTest, AreGoneWhenTheyAreCleared) {
  {
    ControlHost host(options());
    test::post(host.port(), Value{{"action", "init"}});
    host.clear();
  }
  EXPECT_TRUE(ControlHost(options()).requests().empty());
}

TEST_F(SavedRequestsTest, AreThereAgainWithWhatCouldNotBeRead) {
  Value before;
  {
    ControlHost host(options());
    httplib::Client("127.0.0.1", host.port()).Post("/marlune/v4", {{"Content-Encoding", "gzip"}}, "nonsense", "x/y");
    before = wholeOf(host.requests().at(0));
  }
  EXPECT_EQ(wholeOf(ControlHost(options()).requests().at(0)), before);
}

/// A report of the installation of `device`, unlike others by its uptime.
Value install(const char* device, const char* uptime) {
  return Value{{"action", "initial"},
               {"marlune_device_id", device},
               {"data", Value{{"usertime", "1700000000"}, {"uptime", uptime}}}};
}

/// Those who reported their installation once too often.
std::vector<std::string> reportedTwice(const ControlHost& host) {
  std::vector<std::string> devices;
  for (const ReceivedRequest& request : host.requests()) {
    for (const Finding& finding : request.findings) {
      if (finding.code == "install-twice") devices.push_back(request.device);
    }
  }
  return devices;
}

TEST_F(SavedRequestsTest, AreJudgedByWhatTheirDeviceWasToldWhateverTheHostWouldAnswerNow) {
  HostSettings asking;
  asking.init = Value{{"success", 1}};
  const std::vector<std::string> wrong{"MI2"};
  {
    ControlHost host(options());
    host.setRules({{.device = "MI1", .settings = asking}});
    for (const char* device : {"MI1", "MI2"}) {
      test::post(host.port(), install(device, "1"));
      test::post(host.port(), Value{{"action", "init"}, {"marlune_device_id", device}});
    }
    host.setRules({{.device = "MI2", .settings = asking}});
    for (const char* device : {"MI1", "MI2"}) test::post(host.port(), install(device, "2"));
    EXPECT_EQ(reportedTwice(host), wrong);
  }
  EXPECT_EQ(reportedTwice(ControlHost(options())), wrong);
}

/// What stands in a file.
std::string bytesOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Why a host does not save in `path`.
std::string refusalOf(const std::string& path) {
  try {
    const ControlHost host({.savePath = path});
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

void execute(const std::string& path, const std::string& sql) {
  sqlite3* opened = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &opened), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(opened);
  sqlite3_close(opened);
}

TEST_F(SavedRequestsTest, AreOfOneHostAtATime) {
  {
    const ControlHost first(options());
    EXPECT_EQ(refusalOf(path_), path_ + ": another control host (process " + std::to_string(::getpid()) +
                                    ") saves its requests there. End that one, or give --save another file.");
    std::filesystem::create_symlink(path_, path_ + ".link");
    EXPECT_NE(refusalOf(path_ + ".link"), "");
  }
  EXPECT_EQ(refusalOf(path_), "");
}

TEST_F(SavedRequestsTest, AFileOfAnotherProgramStaysAsItIs) {
  const std::string tables[] = {"CREATE TABLE other (a)",
                                "CREATE TABLE requests (id INTEGER PRIMARY KEY, a); PRAGMA user_version=1",
                                "CREATE TABLE requests (id INTEGER PRIMARY KEY, a); PRAGMA journal_mode=WAL",
                                "PRAGMA application_id=77", "PRAGMA user_version=9"};
  for (const std::string& sql : tables) {
    const test::TemporaryFile folder("");
    const std::string path = folder.path() + "?a=%20#.sqlite";
    execute(path, sql);
    const std::string before = bytesOf(path);
    EXPECT_EQ(refusalOf(path), path + ": no file of this program's; it stays as it is. Give --save a file of its own.")
        << sql;
    EXPECT_EQ(bytesOf(path), before) << sql;
    EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
  }
  file_.write(std::string(4096, 'x'));
  EXPECT_EQ(refusalOf(file_.path()),
            file_.path() + ": no file of this program's; it stays as it is. Give --save a file of its own.");
  EXPECT_EQ(bytesOf(file_.path()), std::string(4096, 'x'));
}

TEST_F(SavedRequestsTest, AFileOfALaterVersionStaysAsItIs) {
  EXPECT_EQ(refusalOf(path_), "");
  execute(path_, "PRAGMA user_version=3");
  EXPECT_EQ(refusalOf(path_),
            path_ + ": saved by a later version of this program. Use that one, or give --save another file.");
}

TEST_F(SavedRequestsTest, OfTheFirstVersionAreShownAndGoOn) {
  execute(
      path_,
      "PRAGMA journal_mode=WAL; CREATE TABLE requests (id INTEGER PRIMARY KEY, received REAL, method TEXT, path TEXT, "
      "remote TEXT, headers TEXT, body BLOB, status INTEGER, reply BLOB, rule INTEGER, delay_ms INTEGER, whole "
      "INTEGER, fault TEXT, device TEXT); PRAGMA user_version=1; INSERT INTO requests VALUES (7, 1.5, 'POST', "
      "'/marlune/v4', '127.0.0.1:1', '[[\"A\",\"b\"]]', '{\"action\":\"init\"}', 200, '{}', -1, 0, 1, '', '')");
  {
    ControlHost host(options());
    ASSERT_EQ(host.requests().size(), 1u);
    EXPECT_EQ(host.requests()[0].action, "init");
    test::post(host.port(), Value{{"action", "init"}});
    EXPECT_EQ(host.requests().back().id, 8);
  }
  EXPECT_EQ(ControlHost(options()).requests().size(), 2u);
}

TEST_F(SavedRequestsTest, AFileThatCannotBeMadeIsRefused) {
  EXPECT_EQ(refusalOf("/no/such/folder/file"),
            "/no/such/folder/file: requests cannot be saved there (No such file or directory). Give --save a file that "
            "can be written.");
}

}  // namespace

}  // namespace fliprugair::controlhost
