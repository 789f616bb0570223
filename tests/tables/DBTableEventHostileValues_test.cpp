// Values a server could send, pushed through the writes of the tables: every
// one is stored exactly (the same bytes or number read back) and no other row
// changes. First every write of the event table with texts and numbers, read
// back as events; then the write paths of every table that stores text,
// table-driven, read back byte for byte; then the one refusal there is, a
// single quote in a scheduled channel's country code.
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelPlatform/Log.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "tables/DBTableEventFixture.h"

namespace kestrel {
namespace {

using model::Event;
using testing::Captured;
using Queue = std::shared_ptr<FMDatabaseQueue>;

// A text goes into the event's web address and home team name; a number is
// the event's ID and its end time and stream ID.
struct HostileValue {
  const char* name;
  std::variant<std::string, std::int64_t> value;
};

// Failure messages show the case's name, never its raw bytes.
void PrintTo(const HostileValue& value, std::ostream* out) {
  *out << value.name;
}

std::string megabyteText() {
  std::string text;
  while (text.size() < (1u << 20)) text += "Kestrels \xE2\x9A\xBD O'Brien \"FC\" -- ";
  return text;
}

std::string hexOf(const std::string& text) {
  std::string hex;
  for (const unsigned char c : text) hex += platform::formatString("%02X", c);
  return hex;
}

const HostileValue kCatalogue[] = {
    {"QuoteFirst", "\"Kestrels"},
    {"QuoteLast", "Kestrels\""},
    {"QuoteInside", "Kest\"rels"},
    {"LoneQuote", "\""},
    {"TwoQuotes", "\"\""},
    {"ClubInQuotes", "Club \"Atl\xC3\xA9tico\""},
    {"RewritesAnotherRow", "Evil\" WHERE \"ID\" = \"5000\"; --"},
    {"MutesTheRow", "x\", IS_MUTED = \"1"},
    {"QuotedConcatenation", "\"\" || \"\""},
    {"ColumnNameUpperCase", "ID"},
    {"ColumnNameLowerCase", "id"},
    {"ColumnNameMixedCase", "Start_Date"},
    {"ColumnNameOfTheText", "webUrl"},
    {"RowidAlias", "rowid"},
    {"OidAlias", "OID"},
    {"UnderscoreRowidAlias", "_RowId_"},
    {"OtherTablesColumnName", "TEAM_NAME"},
    {"TableName", "EventTable_"},
    {"QualifiedColumnName", "EventTable_.ID"},
    {"ColumnNameWithBlank", " ID"},
    {"NulInside", std::string("Kest\0rels", 9)},
    {"NulAtEnd", std::string("Kestrels\0", 9)},
    {"NulAlone", std::string(1, '\0')},
    {"NulAndQuotes", std::string("'\0\"", 3)},
    {"InvalidUtf8", "\xFF\xFE Kestrels \xC3("},
    {"TruncatedUtf8", "Kestrels \xE2\x9A"},
    {"SingleQuotes", "O'Brien'; DROP TABLE EventTable_; --"},
    {"EmptyText", ""},
    {"OneMegabyte", megabyteText()},
    {"OneMegabyteWithANul", megabyteText() + std::string("\0", 1) + "id"},
    {"NumberAsText", "5000"},
    {"NegativeZeroAsText", "-0"},
    {"ExponentAsText", "1e3"},
    {"HexAsText", "0x10"},
    {"BeyondInt64AsText", "9223372036854775808"},
    {"PaddedNumberAsText", " 42 "},
    {"CommentsAndNewline", "a -- b\n/* c */;\t"},
    {"FormatSigns", "100% \\ %s %@ %n"},
    {"Unicode", "M\xC3\xBCnchen \xE2\x9A\xBD \xE6\x9D\xB1\xE4\xBA\xAC"},
    {"Int64Min", std::numeric_limits<std::int64_t>::min()},
    {"Int64Max", std::numeric_limits<std::int64_t>::max()},
    {"Zero", std::int64_t{0}},
    {"MinusOne", std::int64_t{-1}},
    {"Beyond32Bits", std::int64_t{4294967298}},
};

std::string caseName(const ::testing::TestParamInfo<HostileValue>& value) {
  return value.param.name;
}

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
      EXPECT_EQ(hex, hexOf(*value));
      EXPECT_EQ(type, "text");
      EXPECT_TRUE(back->webUrl == *value);
      ASSERT_TRUE(back->homeTeamOriginal.has_value());
      EXPECT_TRUE(back->homeTeamOriginal->name == *value);
    } else {
      EXPECT_EQ(back->ID, target());
      EXPECT_EQ(back->endTimestamp, target());
      EXPECT_EQ(back->streamContentId, target());
    }
  }

  bool write(void (*operation)(const Event&, const Queue&, const BoolCompletion&), const Event& e) {
    Captured<bool> done;
    operation(e, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
};

TEST_P(DBTableEventHostileValuesTest, IsStoredExactlyByEveryWriteAndNoOtherRowChanges) {
  const std::string others = checksum(/*othersThanTarget=*/true);

  // Insert of an entity-owned event (a plain INSERT).
  EXPECT_TRUE(insertOwned(carrying(true)));
  expectStoredExactly("entity-owned insert");
  EXPECT_EQ(checksum(true), others) << "entity-owned insert";

  // Insert of a favourite over it (INSERT OR REPLACE).
  EXPECT_TRUE(insertFavorite(carrying(false)));
  EXPECT_TRUE(insertFavorite(carrying(true)));
  expectStoredExactly("favourite insert");
  EXPECT_EQ(checksum(true), others) << "favourite insert";

  // Update of an existing row (a SET list and a condition).
  ASSERT_TRUE(insertFavorite(carrying(false)));
  platform::Clock::setFixed(testing::kNow + 30);  // a stored update changes LAST_UPDATE
  EXPECT_TRUE(write(&DBTableEvent::updateEvent, carrying(true)));
  expectStoredExactly("update");
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

INSTANTIATE_TEST_SUITE_P(Catalogue, DBTableEventHostileValuesTest, ::testing::ValuesIn(kCatalogue),
                         caseName);

// ---- Every table that stores text -------------------------------------------------

using Write = std::function<bool(const Queue& queue, const std::string& text)>;

// One write of a table that stores the text in `column` of the row that
// `where` selects, and reports its success. A path that changes a stored row
// has `prepare`, which stores that row first (with a clean text).
struct WritePath {
  const char* name;
  const char* table;
  const char* column;
  const char* where;
  Write prepare;
  Write write;
};

bool completed(const std::function<void(const BoolCompletion&)>& start) {
  Captured<bool> done;
  start(done.completion());
  EXPECT_EQ(done.calls, 1);
  return done.value.value_or(false);
}

model::Stage stageWith(const std::string& text) {
  model::Stage stage{.ID = 7, .desc = text, .startDateTimestamp = testing::kNowSeconds};
  stage.flag = text;
  return stage;
}

model::Team teamWith(const std::string& text) {
  return model::Team{.ID = 7, .name = text, .gender = text};
}

using StageWrite = void (*)(const model::Stage&, const Queue&, const BoolCompletion&);

Write stageWrite(StageWrite operation) {
  return [operation](const Queue& queue, const std::string& text) {
    return completed([&](const auto& done) { operation(stageWith(text), queue, done); });
  };
}

using EventWrite = void (*)(const Event&, const Queue&, const BoolCompletion&);

void insertMutedEvent(const Event& event, const Queue& queue, const BoolCompletion& done) {
  DBTableEvent::insertEvent(event, true, queue, done);
}

Write eventWrite(EventWrite operation) {
  return [operation](const Queue& queue, const std::string& text) {
    Event event{.ID = 7};
    event.homeTeamOriginal = model::Team{.ID = 10, .name = text};
    return completed([&](const auto& done) { operation(event, queue, done); });
  };
}

std::vector<WritePath> writePaths() {
  const Write saveTeam = [](const Queue& queue, const std::string& text) {
    return completed(
        [&](const auto& done) { DBTableTeam::saveTeam(teamWith(text), true, queue, done); });
  };
  const Write savePlayer = [](const Queue& queue, const std::string& text) {
    const model::Player player{.ID = 7, .name = text, .team = model::Team{.ID = 3, .name = text}};
    return completed(
        [&](const auto& done) { DBTablePlayer::savePlayer(player, false, queue, done); });
  };
  const Write saveTournament = [](const Queue& queue, const std::string& text) {
    model::Tournament tournament{.ID = 70, .name = text, .uniqueId = 7, .uniqueName = text};
    tournament.category = model::CategoryModel{.ID = 2, .name = text, .flag = text};
    return completed([&](const auto& done) {
      DBTableTournament::saveTournament(tournament, true, queue, done);
    });
  };
  const Write pin = [](const Queue& queue, const std::string& text) {
    model::UniqueTournament pinned{.ID = 7, .name = text};
    pinned.category = model::CategoryModel{.ID = 2, .name = text, .flag = text};
    return completed([&](const auto& done) {
      DBTablePinnedUniqueTournaments::saveUniqueTournament(pinned, queue, done);
    });
  };
  const auto scheduleChannel = [](bool textAsCountry) -> Write {
    return [textAsCountry](const Queue& queue, const std::string& text) {
      return completed([&](const auto& done) {
        DBTableScheduledChannels::saveTvChannelCountry(
            model::TVScheduleChannelCountry(7, text, textAsCountry ? text : "DE"), queue, done);
      });
    };
  };
  const Write none;
  return {
      {"event: entity-owned insert", "EventTable_", "HOME_TEAM_NAME", "ID = 7", none,
       eventWrite(&DBTableEvent::insertEntityOwnedEvent)},
      {"event: favourite insert", "EventTable_", "HOME_TEAM_NAME", "ID = 7",
       eventWrite(&insertMutedEvent), eventWrite(&insertMutedEvent)},
      {"event: update", "EventTable_", "HOME_TEAM_NAME", "ID = 7", eventWrite(&insertMutedEvent),
       eventWrite(&DBTableEvent::updateEvent)},
      {"stage: entity-owned insert", "StageTable", "FLAG", "ID = 7", none,
       stageWrite(&DBTableStage::insertEntityOwnedStage)},
      {"stage: favourite insert", "StageTable", "NAME", "ID = 7",
       stageWrite(&DBTableStage::insertStage), stageWrite(&DBTableStage::insertStage)},
      {"stage: muted insert", "StageTable", "FLAG", "ID = 7",
       stageWrite(&DBTableStage::insertStage), stageWrite(&DBTableStage::insertMutedStage)},
      {"stage: update", "StageTable", "FLAG", "ID = 7", stageWrite(&DBTableStage::insertStage),
       stageWrite(&DBTableStage::updateStage)},
      {"team: follow", "MyTeamTable", "TEAM_NAME", "ID = 7", none, saveTeam},
      {"team: follow again", "MyTeamTable", "GENDER", "ID = 7", saveTeam, saveTeam},
      {"player: follow", "MyPlayerTable", "PLAYER_NAME", "ID = 7", none, savePlayer},
      {"player: follow again", "MyPlayerTable", "PLAYER_TEAM_NAME_ID", "ID = 7", savePlayer,
       savePlayer},
      {"league: follow", "MyLeagueTable", "TOURNAMENT_UNIQUE_NAME", "ID = 7", none, saveTournament},
      {"league: follow again", "MyLeagueTable", "CATEGORY_FLAG", "ID = 7", saveTournament,
       saveTournament},
      {"pinned tournament", "PinnedUniqueTournamentsTable", "CATEGORY_NAME", "ID = 7", pin, pin},
      {"scheduled channel", "ScheduledChannelsTable", "CHANNEL_NAME", "CHANNEL_ID = 7",
       scheduleChannel(false), scheduleChannel(false)},
      {"scheduled channel's country", "ScheduledChannelsTable", "COUNTRY_CODE", "CHANNEL_ID = 7",
       none, scheduleChannel(true)},
  };
}

// The texts for every table: one of each way a double-quoted word misreads a
// value, and the plain forms around them.
struct HostileText {
  const char* name;
  std::string text;
  bool ownColumnName = false;  // the text is the name of the column it goes into
};

void PrintTo(const HostileText& value, std::ostream* out) {
  *out << value.name;
}

class TablesHostileTextTest : public testing::DBTableEventTest,
                              public ::testing::WithParamInterface<HostileText> {
 protected:
  void SetUp() override {
    testing::DBTableEventTest::SetUp();
    // What is written is the question here, not whether it reaches the disk.
    queue_->inDatabase([](FMDatabase* db) { db->executeStatements("PRAGMA synchronous = OFF"); });
  }

  std::string hostile(const WritePath& path) const {
    if (!GetParam().ownColumnName) return GetParam().text;
    std::string name = path.column;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
  }

  /// Every column of every row of `table` but the selected one, quoted.
  std::string othersChecksum(const WritePath& path) {
    std::optional<std::string> sum;
    queue_->inDatabase([&](FMDatabase* db) {
      std::string columns;
      auto rs =
          db->executeQuery(std::string("SELECT name FROM pragma_table_info('") + path.table + "')");
      while (rs && rs->next()) {
        columns += std::string(columns.empty() ? "" : " || ',' || ") + "quote(" +
                   *rs->stringForColumnIndex(0) + ")";
      }
      sum =
          db->stringForQuery("SELECT hex(group_concat(" + columns + ", '|')) FROM (SELECT * FROM " +
                             path.table + " WHERE NOT (" + path.where + ") ORDER BY rowid)");
    });
    return sum.value_or("<no rows>");
  }

  /// The text column as SQLite holds it, and as the result set reads it.
  void expectStored(const WritePath& path) {
    const std::string expected = hostile(path);
    queue_->inDatabase([&](FMDatabase* db) {
      auto rs =
          db->executeQuery(std::string("SELECT hex(") + path.column + "), typeof(" + path.column +
                           "), " + path.column + " FROM " + path.table + " WHERE " + path.where);
      ASSERT_TRUE(rs && rs->next()) << "no row";
      EXPECT_EQ(rs->stringForColumnIndex(0), hexOf(expected));
      EXPECT_EQ(rs->stringForColumnIndex(1), "text");
      EXPECT_TRUE(rs->stringForColumnIndex(2) == expected) << "read back byte for byte";
      EXPECT_FALSE(rs->next()) << "one row";
    });
  }
};

TEST_P(TablesHostileTextTest, IsStoredExactlyByEveryWritePathOfEveryTable) {
  // Bystanders in every table, written by every path: what a misread value
  // could overwrite.
  int bystander = 100;
  for (const WritePath& path : writePaths()) {
    ASSERT_TRUE((path.prepare ? path.prepare : path.write)(queue_, "bystander")) << path.name;
    const std::string id = std::to_string(++bystander);
    exec(std::string("UPDATE ") + path.table + " SET " +
         (std::string(path.table) == "ScheduledChannelsTable"
              ? "CHANNEL_ID = " + id + ", KEY = 'b" + id + "'"
              : "ID = " + id) +
         " WHERE " + path.where);
  }
  logs_.clear();
  for (const WritePath& path : writePaths()) {
    SCOPED_TRACE(path.name);
    exec(std::string("DELETE FROM ") + path.table + " WHERE " + path.where);
    if (path.prepare) {
      ASSERT_TRUE(path.prepare(queue_, "clean"));
    }
    const std::string others = othersChecksum(path);
    EXPECT_TRUE(path.write(queue_, hostile(path)));
    expectStored(path);
    EXPECT_EQ(othersChecksum(path), others) << "no other row changes";
  }
  EXPECT_TRUE(logs_.lines().empty()) << logs_.lines().front();
}

const HostileText kTableTexts[] = {
    {"DoubleQuotes", "Club \"Atl\xC3\xA9tico\""},
    {"RewritesOtherColumns", "x\", ID = \"8"},
    {"LoneQuote", "\""},
    {"KeyColumnName", "id"},
    {"OwnColumnName", "", true},
    {"RowidAlias", "_RowId_"},
    {"NulInside", std::string("Kest\0rels", 9)},
    {"NulAlone", std::string(1, '\0')},
    {"NulAndQuotes", std::string("'\0\"", 3)},
    {"InvalidUtf8", "\xFF\xFE Kestrels \xC3("},
    {"SingleQuotes", "O'Brien'; DROP TABLE EventTable_; --"},
    {"EmptyText", ""},
    {"NumberAsText", "5000"},
    {"OneMegabyteWithANul", megabyteText() + std::string("\0", 1) + "id"},
};

INSTANTIATE_TEST_SUITE_P(Catalogue, TablesHostileTextTest, ::testing::ValuesIn(kTableTexts),
                         [](const ::testing::TestParamInfo<HostileText>& value) {
                           return std::string(value.param.name);
                         });

// ---- Scheduled channels: deleted by exactly their country code ----------------------

class ScheduledChannelDeletesTest : public testing::DBTableEventTest {
 protected:
  bool save(std::int64_t channel, const std::string& country) {
    return completed([&](const auto& done) {
      DBTableScheduledChannels::saveTvChannelCountry(
          model::TVScheduleChannelCountry(channel, "Channel", country), queue_, done);
    });
  }
  /// "<channel>:<hex of the code>" of every row, in key order.
  std::vector<std::string> rows() {
    std::vector<std::string> out;
    queue_->inDatabase([&](FMDatabase* db) {
      auto rs = db->executeQuery(
          "SELECT CHANNEL_ID, hex(COUNTRY_CODE) FROM ScheduledChannelsTable ORDER BY KEY");
      while (rs && rs->next()) {
        out.push_back(std::to_string(rs->longLongIntForColumnIndex(0)) + ":" +
                      rs->stringForColumnIndex(1).value_or(""));
      }
    });
    return out;
  }
};

TEST_F(ScheduledChannelDeletesTest, DeleteExactlyTheirCountryCodeWhateverItHolds) {
  for (const std::string& code :
       {std::string("ID"), std::string("Country_Code"), std::string("D\"E"), std::string("D\0E", 3),
        std::string("\xFF\xFE"), std::string("")}) {
    SCOPED_TRACE(hexOf(code));
    const std::string cut = code.find('\0') != std::string::npos ? code.substr(0, 1) : code + "X";
    ASSERT_TRUE(save(1, code));
    ASSERT_TRUE(save(2, code));
    ASSERT_TRUE(save(3, cut));
    EXPECT_TRUE(completed([&](const auto& done) {
      DBTableScheduledChannels::deleteChannelWithId(1, code, queue_, done);
    }));
    EXPECT_EQ(rows(), (std::vector<std::string>{"2:" + hexOf(code), "3:" + hexOf(cut)}));
    EXPECT_TRUE(completed([&](const auto& done) {
      DBTableScheduledChannels::deleteChannelsWithCountryCode(code, queue_, done);
    }));
    EXPECT_EQ(rows(), (std::vector<std::string>{"3:" + hexOf(cut)}));
    exec("DELETE FROM ScheduledChannelsTable");
  }
  EXPECT_TRUE(logs_.lines().empty()) << logs_.lines().front();
}

TEST_F(ScheduledChannelDeletesTest, ASingleQuoteInTheCountryCodeIsStoredButItsDeletesAreRefused) {
  // The two deletes keep the code between single quotes, on which a single
  // quote fails; they are refused (logged, false) before anything runs.
  ASSERT_TRUE(save(1, "C'IV"));
  ASSERT_TRUE(save(2, "CIV"));
  EXPECT_FALSE(completed([&](const auto& done) {
    DBTableScheduledChannels::deleteChannelsWithCountryCode("C'IV", queue_, done);
  }));
  EXPECT_FALSE(completed([&](const auto& done) {
    DBTableScheduledChannels::deleteChannelWithId(1, "' OR ''='", queue_, done);
  }));
  EXPECT_EQ(rows(), (std::vector<std::string>{"1:" + hexOf("C'IV"), "2:" + hexOf("CIV")}));
  EXPECT_EQ(logs_.countContaining(
                "ERROR: write to ScheduledChannelsTable refused: the value of COUNTRY_CODE holds a "
                "single quote"),
            2u);
  EXPECT_EQ(logs_.lines().size(), 2u);
  for (const std::string& line : logs_.lines()) EXPECT_EQ(line.find("C'IV"), std::string::npos);
}

}  // namespace
}  // namespace kestrel
