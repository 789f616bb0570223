#include <KestrelDatabase/tables/DBTableFollowedAbstract.h>

#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

namespace {

constexpr const char* kId = "ID";
constexpr const char* kNotificationsEnabled = "NOTIFICATIONS_ENABLED";
constexpr const char* kSportSlug = "SPORT_SLUG";

using Piece = SplicedStatement::Piece;

// A value of the upsert's VALUES list: text as a double-quoted word (no column
// is in scope there), numbers bare, the null marker as NULL.
Piece valuePiece(const std::string& column, const Value& value) {
  return value.text() ? SplicedStatement::quotedValue(column, value)
                      : SplicedStatement::number(column, value);
}

}  // namespace

std::optional<model::Sport> DBTableFollowedAbstract::mapSportFromResultSet(const FMResultSet& row) {
  const auto id = row.getIntegerForColumnName("SPORT_ID");
  auto name = row.stringForColumn("SPORT_NAME");
  auto slug = row.stringForColumn(kSportSlug);
  if (!id && !name && !slug) return std::nullopt;
  return model::Sport{.ID = id.value_or(0), .name = std::move(name), .slug = std::move(slug)};
}

// ---- Notification flags and ID reads -----------------------------------------

void DBTableFollowedAbstract::setNotificationsFlag(const TableColumns& table, bool enabled,
                                                   const IDSet& ids, const Queue& queue,
                                                   const BoolCompletion& completion) {
  updateRows(
      table,
      SplicedStatement(
          platform::formatString("UPDATE %%@ SET %%@ = %d WHERE %%@ IN (%%@)", enabled ? 1 : 0),
          {SplicedStatement::name(table.tableName()), SplicedStatement::name(kNotificationsEnabled),
           SplicedStatement::name(kId), SplicedStatement::numbers(kId, ids)}),
      queue, completion);
}

void DBTableFollowedAbstract::readNotificationIDs(const TableColumns& table, const Queue& queue,
                                                  const IDSetCompletion& completion) {
  const auto sql = NewSQLBuilder::selectColumnsFromTable(
      table.tableName(), {kId}, ConditionList{kNotificationsEnabled, "=", 1});
  readIDs(sql.value_or(""), kId, queue, completion);
}

void DBTableFollowedAbstract::readIDsForSport(const TableColumns& table, const std::string& slug,
                                              const Queue& queue,
                                              const IDSetCompletion& completion) {
  const std::string sql = platform::formatString("SELECT %s FROM %s WHERE %s = ?", kId,
                                                 table.tableName().c_str(), kSportSlug);
  readIDs(sql, {Value(slug)}, kId, queue, completion);
}

void DBTableFollowedAbstract::setNotificationsEnabledLines(const TableColumns& table, bool enabled,
                                                           const IDSet& ids, const Queue& queue,
                                                           const BoolCompletion& completion) {
  updateRows(table,
             SplicedStatement(platform::formatString("UPDATE %s\nSET %s = %d\nWHERE %s IN (%%@)",
                                                     table.tableName().c_str(),
                                                     kNotificationsEnabled, enabled ? 1 : 0, kId),
                              {SplicedStatement::numbers(kId, ids)}),
             queue, completion);
}

std::string DBTableFollowedAbstract::notificationEnabledIDsLines(const TableColumns& table) {
  return platform::formatString("SELECT %s\nFROM %s\nWHERE %s = 1", kId, table.tableName().c_str(),
                                kNotificationsEnabled);
}

void DBTableFollowedAbstract::readNotificationEnabledIDs(const TableColumns& table,
                                                         const Queue& queue,
                                                         const IDSetCompletion& completion) {
  readIDs(notificationEnabledIDsLines(table), kId, queue, completion);
}

std::future<bool> DBTableFollowedAbstract::setNotificationsEnabledLines(const TableColumns& table,
                                                                        bool enabled,
                                                                        const IDSet& ids,
                                                                        const Queue& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& done) {
        setNotificationsEnabledLines(table, enabled, ids, queue, done);
      },
      false);
}

std::future<ReadResult<IDSet>> DBTableFollowedAbstract::readNotificationEnabledIDs(
    const TableColumns& table, const Queue& queue) {
  return futureOf<ReadResult<IDSet>>(
      [&](const IDSetCompletion& done) { readNotificationEnabledIDs(table, queue, done); },
      ReadResult<IDSet>{});
}

// ---- Upsert and cascade --------------------------------------------------------

std::optional<DBTableAbstract::CheckedStatement> DBTableFollowedAbstract::checkedUpsert(
    const TableColumns& table, const ColumnValueMap& columnsAndValues,
    const std::vector<InsertedExpression>& expressions) {
  std::vector<Piece> pieces{SplicedStatement::name(table.tableName())};
  std::string columns;
  std::string values;
  std::string updates;
  std::vector<Piece> valuePieces;
  std::vector<Piece> updatePieces;
  for (const auto& [column, value] : columnsAndValues) {
    if (!table.hasColumn(column)) {
      platform::log("ERROR: write to %s refused: it has no column %s", table.tableName().c_str(),
                    column.c_str());
      return std::nullopt;
    }
    columns += columns.empty() ? "%@" : ", %@";
    values += values.empty() ? "%@" : ", %@";
    pieces.push_back(SplicedStatement::name(column));
    valuePieces.push_back(valuePiece(column, value));
    if (column != kId) {
      updates += updates.empty() ? "%@ = excluded.%@" : ",\n%@ = excluded.%@";
      updatePieces.push_back(SplicedStatement::name(column));
      updatePieces.push_back(SplicedStatement::name(column));
    }
  }
  for (const InsertedExpression& expression : expressions) {
    columns += columns.empty() ? "%@" : ", %@";
    values += values.empty() ? "" : ", ";
    values += expression.sql;
    pieces.push_back(SplicedStatement::name(expression.column));
  }
  for (auto& piece : valuePieces) pieces.push_back(std::move(piece));
  pieces.push_back(SplicedStatement::name(kId));
  for (auto& piece : updatePieces) pieces.push_back(std::move(piece));
  const std::string format = "INSERT INTO %@ (" + columns + ") VALUES (" + values +
                             ") ON CONFLICT(%@) DO UPDATE SET\n" + updates;
  return checkedStatement(table, SplicedStatement(format, std::move(pieces)));
}

void DBTableFollowedAbstract::deleteWithOwnedEvents(const TableColumns& table, std::int64_t id,
                                                    const std::string& ownedEvents,
                                                    const Queue& queue,
                                                    const BoolCompletion& completion) {
  if (!queue) return;
  const auto own = checkedDelete(table, ConditionList{kId, "=", id});
  runWrite(
      queue,
      [&](FMDatabase& db) {
        const bool events =
            deleteSelectedRows(db, ownedEvents, DBTableEvent::tableColumns(), DBTableEvent::kId);
        return own && db.executeUpdate(own->text()) && events;
      },
      completion);
}

std::string DBTableFollowedAbstract::eventTeamColumnsEqual(std::string_view value,
                                                           bool columnFirst) {
  static constexpr const char* kTeamColumns[] = {
      DBTableEvent::kHomeTeamId,        DBTableEvent::kAwayTeamId,
      DBTableEvent::kHomeSubteam1ColId, DBTableEvent::kHomeSubteam2ColId,
      DBTableEvent::kAwaySubteam1ColId, DBTableEvent::kAwaySubteam2ColId};
  std::string text;
  for (const char* column : kTeamColumns) {
    if (!text.empty()) text += " OR ";
    const std::string_view first = columnFirst ? std::string_view(column) : value;
    const std::string_view second = columnFirst ? value : std::string_view(column);
    text.append(first).append(" = ").append(second);
  }
  return text;
}

}  // namespace kestrel
