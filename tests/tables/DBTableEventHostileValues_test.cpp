// Values a server could send, pushed through every write of the event table:
// each one is either stored exactly (the same bytes or number read back) or
// refused (false, one log line, nothing written), and no other row changes.
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <variant>

#include "tables/DBTableEventFixture.h"

namespace kestrel {
namespace {

using model::Event;
using testing::Captured;
using testing::CapturedRead;

enum class Outcome { Stored, Refused };
constexpr Outcome S = Outcome::Stored;
constexpr Outcome R = Outcome::Refused;

// A text goes into the event's web address and home team name; a number is
// the event's ID and its end time and stream ID.
struct HostileValue {
  const char* name;
  std::variant<std::string, std::int64_t> value;
  Outcome insert;
  Outcome update;  // the SET list, where a text naming a column is refused
};

// Failure messages show the case's name, never its raw bytes.
void PrintTo(const HostileValue& value, std::ostream* out) {
  *out << value.name;
}

std::string megabyteText() {
  std::string text;
  while (text.size() < (1u << 20)) text += "Kestrels \xE2\x9A\xBD O'Brien -- ";
  return text;
}

const HostileValue kCatalogue[] = {
    {"QuoteFirst", "\"Kestrels", R, R},
    {"QuoteLast", "Kestrels\"", R, R},
    {"QuoteInside", "Kest\"rels", R, R},
    {"LoneQuote", "\"", R, R},
    {"TwoQuotes", "\"\"", R, R},
    {"RewritesAnotherRow", "Evil\" WHERE \"ID\" = \"5000\"; --", R, R},
    {"MutesTheRow", "x\", IS_MUTED = \"1", R, R},
    {"QuotedConcatenation", "\"\" || \"\"", R, R},
    {"ColumnNameUpperCase", "ID", S, R},
    {"ColumnNameMixedCase", "Start_Date", S, R},
    {"ColumnNameLowerCase", "is_muted", S, R},
    {"RowidAlias", "rowid", S, R},
    {"OidAlias", "OID", S, R},
    {"UnderscoreRowidAlias", "_RowId_", S, R},
    {"OtherTablesColumnName", "TEAM_NAME", S, S},
    {"TableName", "EventTable_", S, S},
    {"QualifiedColumnName", "EventTable_.ID", S, S},
    {"ColumnNameWithBlank", " ID", S, S},
    {"NulInside", std::string("Kest\0rels", 9), R, R},
    {"NulAtEnd", std::string("Kestrels\0", 9), R, R},
    {"InvalidUtf8", "\xFF\xFE Kestrels \xC3(", S, S},
    {"TruncatedUtf8", "Kestrels \xE2\x9A", S, S},
    {"SingleQuotes", "O'Brien'; DROP TABLE EventTable_; --", S, S},
    {"EmptyText", "", S, S},
    {"OneMegabyte", megabyteText(), S, S},
    {"NumberAsText", "5000", S, S},
    {"NegativeZeroAsText", "-0", S, S},
    {"ExponentAsText", "1e3", S, S},
    {"HexAsText", "0x10", S, S},
    {"BeyondInt64AsText", "9223372036854775808", S, S},
    {"PaddedNumberAsText", " 42 ", S, S},
    {"CommentsAndNewline", "a -- b\n/* c */;\t", S, S},
    {"FormatSigns", "100% \\ %s %@ %n", S, S},
    {"Unicode", "M\xC3\xBCnchen \xE2\x9A\xBD \xE6\x9D\xB1\xE4\xBA\xAC", S, S},
    {"Int64Min", std::numeric_limits<std::int64_t>::min(), S, S},
    {"Int64Max", std::numeric_limits<std::int64_t>::max(), S, S},
    {"Zero", std::int64_t{0}, S, S},
    {"MinusOne", std::int64_t{-1}, S, S},
    {"Beyond32Bits", std::int64_t{4294967298}, S, S},
};

class DBTableEventHostileValuesTest : public testing::DBTableEventTest,
                                      public ::testing::WithParamInterface<HostileValue> {
 protected:
  void SetUp() override {
    testing::DBTableEventTest::SetUp();
    // The rows that must never change: the user's favourite 5000, a muted
    // favourite, an entity-owned and a hidden row.
    Event favourite = event(5000);
    favourite.homeTeamOriginal = model::Team{.ID = 10, .name = "Kestrels"};
    ASSERT_TRUE(insertFavorite(favourite));
    ASSERT_TRUE(insertFavorite(event(5001, 2, -60), /*muted=*/true));
    ASSERT_TRUE(insertOwned(event(5002, 3, 3600)));
    ASSERT_TRUE(insertFavorite(event(5003, 1, -7200)));
    exec("UPDATE EventTable_ SET IS_HIDDEN = 1 WHERE ID = 5003");
    logs_.clear();
  }

  const std::string* text() const { return std::get_if<std::string>(&GetParam().value); }
  std::int64_t target() const {
    const auto* number = std::get_if<std::int64_t>(&GetParam().value);
    return number ? *number : 7;
  }

  /// The target event carrying the hostile value, or a clean one.
  Event carrying(bool hostile) const {
    Event out = event(target());
    const std::string* value = text();
    if (value) {
      out.webUrl = hostile ? *value : "clean";
      out.homeTeamOriginal = model::Team{.ID = 10, .name = hostile ? *value : "clean"};
    } else {
      out.endTimestamp = hostile ? target() : 1;
      out.streamContentId = hostile ? target() : 1;
    }
    return out;
  }

  /// Every column, quoted, of every row but the target's (or of the target's
  /// row alone).
  std::string checksum(bool othersThanTarget) {
    std::string columns;
    for (const auto& column : DBTableEvent::kColumns) {
      columns += std::string(columns.empty() ? "" : " || ',' || ") + "quote(" + column.name + ")";
    }
    const std::string sql = "SELECT hex(group_concat(" + columns +
                            ", '|')) FROM (SELECT * FROM "
                            "EventTable_ WHERE ID " +
                            (othersThanTarget ? "IS NOT " : "= ") + std::to_string(target()) +
                            " ORDER BY ID)";
    std::optional<std::string> sum;
    queue_->inDatabase([&](FMDatabase* db) { sum = db->stringForQuery(sql); });
    return sum.value_or("<no rows>");
  }

  bool targetExists() {
    int n = 0;
    queue_->inDatabase([&](FMDatabase* db) {
      n = db->intForQuery("SELECT count(*) FROM EventTable_ WHERE ID = ?", target());
    });
    return n == 1;
  }

  /// The row holds exactly the hostile value, in SQL and read back as a model.
  void expectStoredExactly(const char* operation) {
    SCOPED_TRACE(operation);
    const std::optional<Event> back = read(target());
    ASSERT_TRUE(back.has_value());
    if (const std::string* value = text()) {
      std::string hex, type;
      queue_->inDatabase([&](FMDatabase* db) {
        auto rs = db->executeQuery(
            "SELECT hex(WEBURL), typeof(WEBURL), hex(HOME_TEAM_NAME) FROM EventTable_ WHERE ID = ?",
            target());
        ASSERT_TRUE(rs && rs->next());
        hex = rs->stringForColumnIndex(0).value_or("");
        type = rs->stringForColumnIndex(1).value_or("");
        EXPECT_EQ(rs->stringForColumnIndex(2), hex);
        rs->close();
      });
      std::string expected;
      for (const unsigned char c : *value) expected += platform::formatString("%02X", c);
      EXPECT_EQ(hex, expected);
      EXPECT_EQ(type, "text");
      EXPECT_EQ(back->webUrl, *value);
      ASSERT_TRUE(back->homeTeamOriginal.has_value());
      EXPECT_EQ(back->homeTeamOriginal->name, *value);
    } else {
      EXPECT_EQ(back->ID, target());
      EXPECT_EQ(back->endTimestamp, target());
      EXPECT_EQ(back->streamContentId, target());
    }
  }

  /// One refusal line that names the table and the column, not the value.
  void expectOneRefusalLine(const char* operation) {
    SCOPED_TRACE(operation);
    EXPECT_EQ(logs_.countContaining("ERROR: write to EventTable_ refused: the value of WEBURL "),
              1u);
    EXPECT_EQ(logs_.lines().size(), 1u);
    const std::string* value = text();
    if (value && value->size() >= 6 && !logs_.lines().empty()) {
      EXPECT_EQ(logs_.lines().front().find(*value), std::string::npos);
    }
    logs_.clear();
  }

  bool write(void (*operation)(const Event&, const std::shared_ptr<FMDatabaseQueue>&,
                               const BoolCompletion&),
             const Event& e) {
    Captured<bool> done;
    operation(e, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
};

TEST_P(DBTableEventHostileValuesTest, IsStoredExactlyOrRefusedAndNoOtherRowChanges) {
  const HostileValue& param = GetParam();
  const std::string others = checksum(/*othersThanTarget=*/true);

  // Insert (a favourite: INSERT OR REPLACE).
  const bool inserted = insertFavorite(carrying(true));
  if (param.insert == S) {
    EXPECT_TRUE(inserted);
    expectStoredExactly("insert");
  } else {
    EXPECT_FALSE(inserted);
    EXPECT_FALSE(targetExists());
    expectOneRefusalLine("insert");
    ASSERT_TRUE(insertFavorite(carrying(false)));
  }
  EXPECT_EQ(checksum(true), others) << "insert";

  // Update of an existing row (a SET list and a condition).
  ASSERT_TRUE(insertFavorite(carrying(false)));
  const std::string row = checksum(/*othersThanTarget=*/false);
  platform::Clock::setFixed(testing::kNow + 30);  // a stored update changes LAST_UPDATE
  const bool updated = write(&DBTableEvent::updateEvent, carrying(true));
  if (param.update == S) {
    EXPECT_TRUE(updated);
    expectStoredExactly("update");
  } else {
    EXPECT_FALSE(updated);
    EXPECT_EQ(checksum(false), row) << "a refused update leaves its own row too";
    expectOneRefusalLine("update");
  }
  EXPECT_EQ(checksum(true), others) << "update";

  // Mute and delete take only the ID; they touch the target and nothing else.
  EXPECT_TRUE(write(&DBTableEvent::muteEvent, carrying(true)));
  EXPECT_EQ(column(target(), "IS_MUTED"), "1");
  EXPECT_EQ(checksum(true), others) << "mute";
  Captured<bool> deleted;
  DBTableEvent::deleteEvent(target(), queue_, deleted.completion());
  EXPECT_EQ(deleted.value, true);
  EXPECT_FALSE(targetExists());
  EXPECT_EQ(checksum(true), others) << "delete";
  EXPECT_TRUE(logs_.lines().empty()) << logs_.lines().front();
}

std::string caseName(const ::testing::TestParamInfo<HostileValue>& value) {
  return value.param.name;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, DBTableEventHostileValuesTest, ::testing::ValuesIn(kCatalogue),
                         caseName);

}  // namespace
}  // namespace kestrel
