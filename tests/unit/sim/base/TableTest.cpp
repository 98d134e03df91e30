#include "base/Table.h"

#include <gmock/gmock.h>

namespace {

using sim::CellKind;

const sim::Table ports{"ports",
                       {{"port", CellKind::number}, {"name"}, {"vlans", CellKind::list}},
                       {{"5", "gigabitethernet 0/5", "1,100"}, {"25", "", ""}}};
const sim::Table empty{"empty", {{"port", CellKind::number}}, {}};

TEST(Table, AlignsNumbersRightAndTextLeftAndHasNoBlankInACell) {
  EXPECT_EQ(sim::toText({ports}),
            "port  name                 vlans\n"
            "   5  gigabitethernet_0/5  1,100\n"
            "  25  -                    -\n");
}

TEST(Table, HasATitleWhereThereAreSeveral) {
  EXPECT_EQ(sim::toText({empty, ports}),
            "empty:\n(none)\n"
            "\n"
            "ports:\n"
            "port  name                 vlans\n"
            "   5  gigabitethernet_0/5  1,100\n"
            "  25  -                    -\n");
  EXPECT_EQ(sim::toText({empty}), "(none)\n");
}

TEST(Table, EndsEachLineWithItsLastCharacter) {
  const sim::Table table{"t", {{"a"}, {"longer"}}, {{"1", "2"}}};
  EXPECT_EQ(sim::toText({table}), "a  longer\n1  2\n");
}

TEST(Table, HasEachCellAsWhatItIsInJson) {
  EXPECT_EQ(sim::toJson({ports, empty}),
            R"({"ports": [{"port": 5, "name": "gigabitethernet 0/5", "vlans": [1,100]}, )"
            R"({"port": 25, "name": null, "vlans": []}], "empty": []})"
            "\n");
}

TEST(Table, EscapesWhatJsonWantsEscaped) {
  EXPECT_EQ(sim::jsonText("a\"b\\c\n\x01\xff"), "\"a\\\"b\\\\c\\u000a\\u0001\\u00ff\"");
}

}  // namespace
