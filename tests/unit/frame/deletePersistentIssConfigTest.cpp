#include "frame/deletePersistentIssConfig.h"

#include <unistd.h>

#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;

TEST(Selection, IsTheFolderWithoutItsLineFeed) {
  const IssConfigSelection selection = parseSelection("dir /flash/config/c1\n");
  EXPECT_EQ(selection.actionType, "dir");
  EXPECT_EQ(selection.folder, "/flash/config/c1");
  EXPECT_EQ(selection.newlineAt, 16U);
}

TEST(Selection, NeedsNoLineFeed) {
  const IssConfigSelection selection = parseSelection("dir /flash/config/c1");
  EXPECT_EQ(selection.folder, "/flash/config/c1");
  EXPECT_EQ(selection.newlineAt, std::string::npos);
}

TEST(Selection, IsCutAtTheLastLineFeedOnly) {
  const IssConfigSelection selection = parseSelection("dir /a\n/b\nrest");
  EXPECT_EQ(selection.folder, "/a\n/b");
  EXPECT_EQ(selection.newlineAt, 5U);
}

TEST(Selection, SkipsWhateverSeparates) {
  EXPECT_EQ(parseSelection("dir:/a").folder, "/a");
  EXPECT_EQ(parseSelection("dir\n/a").folder, "/a");
}

TEST(Selection, HasTheFirstThreeCharactersForItsAction) {
  EXPECT_EQ(parseSelection("tar /flash/config/c1\n").actionType, "tar");
  EXPECT_EQ(parseSelection("directory").actionType, "dir");
  EXPECT_EQ(parseSelection("DIR /a").actionType, "DIR");
}

TEST(Selection, MayBeShort) {
  EXPECT_EQ(parseSelection("").actionType, "");
  EXPECT_EQ(parseSelection("di").actionType, "di");
  for (const char* text : {"", "d", "di", "dir", "dir "}) {
    EXPECT_EQ(parseSelection(text).folder, "") << text;
    EXPECT_EQ(parseSelection(text).newlineAt, std::string::npos) << text;
  }
  EXPECT_EQ(parseSelection("dir \n").folder, "");
  EXPECT_EQ(parseSelection("dir \n").newlineAt, 0U);
}

TEST(IssFolderOnSdCard, ReplacesAnySixCharactersAtTheBeginning) {
  EXPECT_EQ(issFolderOnSdCard("/flash/config/c1/iss"), "/mnt/mmccard/VORNA_CONFIG/config/c1/iss");
  EXPECT_EQ(issFolderOnSdCard("/other/config/iss"), "/mnt/mmccard/VORNA_CONFIG/config/iss");
  EXPECT_EQ(issFolderOnSdCard("/a/iss"), "/mnt/mmccard/VORNA_CONFIG");
  EXPECT_EQ(issFolderOnSdCard("/iss"), "/mnt/mmccard/VORNA_CONFIG");
}

class Removal : public RoomTest {};

TEST_F(Removal, WithoutASelectionFileIsNoted) {
  ASSERT_NE(access("/flash/config/current/selected.txt", F_OK), 0) << "this machine has a selection";
  deletePersistentIssConfig();
  EXPECT_THAT(lines(), ElementsAre(logged("DEBUG3", "main", 763, "deletePersistentIssConfig", "called"),
                                   logged("NOTICE", "main", 766, "deletePersistentIssConfig",
                                          "/flash/config/current/selected.txt does not exist")));
}

}  // namespace
