#include "Fliprugair/platform/Text.h"
#include "linux/Support.h"
#include "platform/linux/LinuxBundle.h"

namespace fliprugair {
namespace {

TEST(LinuxBundle, AnEntryThatTheHostAppDoesNotGiveIsMissing) {
  const LinuxBundle bundle({"com.example.app", std::nullopt, ""}, "");
  EXPECT_EQ(bundle.infoEntry("CFBundleIdentifier"), Value("com.example.app"));
  EXPECT_EQ(bundle.infoEntry("CFBundleShortVersionString"), Value());
  EXPECT_EQ(bundle.infoEntry("CFBundleVersion"), Value(""));
  EXPECT_EQ(bundle.infoEntry("CFBundleName"), Value());
}

TEST(LinuxBundle, TheReceiptIsTheWholeFileInBase64) {
  const TemporaryFolder folder;
  for (const std::size_t size : {0u, 1u, 3u, 16384u, 16385u, 5000000u}) {
    std::string content(size, 0);
    for (std::size_t at = 0; at < size; ++at) content[at] = static_cast<char>(at * 31 % 256);
    folder.write("receipt", content);
    const Value encoded = LinuxBundle({}, folder.path() / "receipt").encodedReceipt();
    ASSERT_TRUE(encoded.isText()) << size;
    EXPECT_TRUE(bytesOfBase64(encoded.text()) == content) << size;
  }
}

TEST(LinuxBundle, TheReceiptIsReadAnewAtEachCall) {
  const TemporaryFolder folder;
  const LinuxBundle bundle({}, folder.path() / "receipt");
  EXPECT_EQ(bundle.encodedReceipt(), Value());
  folder.write("receipt", "first");
  EXPECT_EQ(bundle.encodedReceipt(), Value("Zmlyc3Q="));
  folder.write("receipt", "second");
  EXPECT_EQ(bundle.encodedReceipt(), Value("c2Vjb25k"));
  std::filesystem::remove(folder.path() / "receipt");
  EXPECT_EQ(bundle.encodedReceipt(), Value());
}

TEST(LinuxBundle, AReceiptThatIsNoReadableFileIsAbsent) {
  const TemporaryFolder folder;
  EXPECT_EQ(LinuxBundle({}, "").encodedReceipt(), Value());
  EXPECT_EQ(LinuxBundle({}, folder.path()).encodedReceipt(), Value());
  EXPECT_EQ(LinuxBundle({}, folder.path() / "missing").encodedReceipt(), Value());
}

}  // namespace
}  // namespace fliprugair
