// The page needs nothing besides, and no text of others becomes a part of it.
#include "timeline/Page.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

History history() {
  TracedRequest request;
  request.kind = RequestKind::rule;
  request.arrived = request.arrivedLast = 1795262400s;
  request.replied = 1795262400s + 5ms;
  request.ending = Ending::answered;
  request.text = "dataVfis=</script><b>@STYLE@";
  History result;
  result.requests.push_back(request);
  result.resolution = 1ms;
  return result;
}

TEST(Page, StandsByItself) {
  const std::string page = historyPage(history());
  for (const char* outside : {"http://", "https://", " src=", "<link", "import ", "url("}) {
    EXPECT_THAT(page, Not(HasSubstr(outside)));
  }
  for (const char* mark : {"@DATA@", "@SCRIPT@"}) EXPECT_THAT(page, Not(HasSubstr(mark)));
}

TEST(Page, PacksTheRequests) {
  EXPECT_THAT(historyPage(history()),
              HasSubstr(R"("requests": [[2, 1, 0, 0, null, null, 5000, 1, 0, [], []]])"));
}

TEST(Page, HoldsNoMarkupOfOthers) {
  const std::string page = historyPage(history());
  EXPECT_THAT(page, HasSubstr("dataVfis=\\u003c/script>\\u003cb>@STYLE@"));
  EXPECT_THAT(page, Not(HasSubstr("<b>")));
}

}  // namespace
