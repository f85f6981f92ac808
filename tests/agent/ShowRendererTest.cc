// One row model, two renderings: what a show says in text and in JSON comes
// from the same cells, so the two cannot tell different stories.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "agent/ShowModel.h"
#include "agent/ShowRenderer.h"

namespace {

using KorAgent::ShowModel;
using KorAgent::ShowRenderer;
using M = ShowModel;

// A header field, a table of objects with a padded column, a JSON-only and
// a text-only column and lines under a row, a list of values and a keyed
// table.
ShowModel sample() {
  M m;
  m.lineAdd("pets:\n");
  m.tableAdd("pets", "  ", {M::col("name", "", 6), M::col("age", " age "), M::jsonOnly("vet"), M::textOnly(" (", 0)});
  m.rowAdd({M::str("rex"), M::num(3), M::flag(true, "", ""), M::raw("", "good)")}, {"    barks"});
  m.rowAdd({M::str("a\"b"), M::raw("null", "-"), M::flag(false, "", ""), M::raw("", "new)")});
  m.fieldAdd("fed", "  fed ", M::flag(true, "yes", "no"));
  m.lineAdd("\n");
  m.tableAdd("toys", "  ", {M::col("toy", "toy ")}, M::Form::values);
  m.rowAdd({M::str("ball")});
  m.tableAdd("bowls", "  ", {M::col("kind", "bowl "), M::col("full", ": ")}, M::Form::keyed);
  m.rowAdd({M::str("water"), M::flag(false, "full", "empty")});
  return m;
}

TEST(ShowRenderer, TextAndJsonComeFromTheSameCells) {
  EXPECT_EQ(ShowRenderer::render(sample(), false),
            "pets:\n"
            "  rex    age 3 (good)\n"
            "    barks\n"
            "  a\"b    age - (new)\n"
            "  fed yes\n"
            "  toy ball\n"
            "  bowl water: empty\n");
  EXPECT_EQ(ShowRenderer::render(sample(), true),
            "{\"pets\": [{\"name\": \"rex\", \"age\": 3, \"vet\": true}, {\"name\": \"a\\\"b\", \"age\": null, "
            "\"vet\": false}], \"fed\": true, \"toys\": [\"ball\"], \"bowls\": {\"water\": {\"full\": false}}}\n");
}

TEST(ShowRenderer, EmptyTablesAndObjectsStayValid) {
  M m;
  m.tableAdd("none", "  ", {M::col("x")});
  m.tableAdd("keyed", "  ", {M::col("k"), M::col("v")}, M::Form::keyed);
  m.fieldAdd("obj", "", M::object({{"a", M::num(1)}, {"b\n", M::str("c")}}, "text"));
  EXPECT_EQ(ShowRenderer::render(m, true), "{\"none\": [], \"keyed\": {}, \"obj\": {\"a\": 1, \"b\\u000a\": \"c\"}}\n");
  EXPECT_EQ(ShowRenderer::render(m, false), "text");
}

TEST(ShowModel, ARowNeedsATableAndOneCellPerColumn) {
  M m;
  EXPECT_THROW(m.rowAdd({M::num(1)}), std::logic_error);
  m.tableAdd("t", "", {M::col("a"), M::col("b")});
  EXPECT_THROW(m.rowAdd({M::num(1)}), std::logic_error);
}

}  // namespace
