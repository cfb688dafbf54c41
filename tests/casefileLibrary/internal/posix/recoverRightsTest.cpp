// Whose access rights a rescued file gets while its input's name is given to another file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "casefile/recover.h"
#include "support/compressedImage.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace {

using std::filesystem::perms;

// Who may write to the folder would read what the file's owner alone may.
TEST(RecoverRights, AreThoseOfTheFileThatIsRead) {
  const support::TestFolder folder;
  constexpr perms kPrivate = perms::owner_read | perms::owner_write;
  const std::string bytes = support::Image::of(10, {1000}).bytes();
  const std::string input = folder.writePlain("in", bytes);
  std::filesystem::permissions(input, kPrivate);
  const std::string planted = folder.writePlain("planted", bytes);
  std::filesystem::permissions(planted, perms::all);
  {
    support::SystemProbe probe;
    probe.before("statusOf", [&] {
      if (std::filesystem::exists(planted)) {
        std::filesystem::rename(planted, input);
      }
    });
    casefile::recover(input, folder.path("out"));
  }
  EXPECT_FALSE(std::filesystem::exists(planted));
  EXPECT_EQ(std::filesystem::status(folder.path("out")).permissions(), kPrivate);
}

}  // namespace
