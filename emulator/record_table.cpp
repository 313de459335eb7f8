#include "emulator/record_table.h"

#include <sqlite3.h>

#include <stdexcept>

namespace emulator {

void RecordTable::CloseDatabase(sqlite3* database) { sqlite3_close(database); }
void RecordTable::EndStatement(sqlite3_stmt* statement) { sqlite3_finalize(statement); }

// What the operating system has been given is safe from a kill. Syncs come with checkpoints alone,
// and keep the file readable after a power cut, which may cost it the last changes.
RecordTable::RecordTable(const std::filesystem::path& file) {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(file.c_str(), &opened,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(opened);
  Check(code, SQLITE_OK);
  Execute("PRAGMA locking_mode = EXCLUSIVE");
  Execute("PRAGMA journal_mode = WAL");
  Execute("PRAGMA synchronous = NORMAL");
  Transaction lock(*this);
  Execute(
      "CREATE TABLE IF NOT EXISTS records (kind TEXT, id TEXT, number INTEGER, value TEXT, "
      "PRIMARY KEY (kind, id, number)) WITHOUT ROWID");
  lock.Commit();
  put_ = Prepare("INSERT OR REPLACE INTO records VALUES (?, ?, ?, ?)");
  erase_ = Prepare("DELETE FROM records WHERE kind = ? AND id = ?");
  erase_all_ = Prepare("DELETE FROM records WHERE kind = ?");
  select_ = Prepare("SELECT id, number, value FROM records WHERE kind = ? ORDER BY id, number");
}

void RecordTable::Check(int code, int wanted) const {
  if (code == wanted) return;
  if (code == SQLITE_BUSY) throw std::runtime_error("another emulator uses it");
  throw std::runtime_error(sqlite3_errmsg(database_.get()));
}

void RecordTable::Execute(const char* sql) {
  Check(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr), SQLITE_OK);
}

RecordTable::Statement RecordTable::Prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr), SQLITE_OK);
  return Statement(statement);
}

void RecordTable::Bind(const Statement& statement, int place, std::string_view text) {
  Check(sqlite3_bind_text64(statement.get(), place, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8),
        SQLITE_OK);
}

void RecordTable::Run(const Statement& statement) {
  sqlite3_step(statement.get());
  Check(sqlite3_reset(statement.get()), SQLITE_OK);
}

RecordTable::Transaction::Transaction(RecordTable& table) : table_(table) {
  table_.Execute("BEGIN IMMEDIATE");
}

RecordTable::Transaction::~Transaction() {
  // It fails when the failure before has ended the transaction already.
  if (open_) sqlite3_exec(table_.database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void RecordTable::Transaction::Commit() {
  table_.Execute("COMMIT");
  open_ = false;
}

void RecordTable::Put(std::string_view kind, std::string_view id, int64_t number,
                      std::string_view value) {
  Bind(put_, 1, kind);
  Bind(put_, 2, id);
  Check(sqlite3_bind_int64(put_.get(), 3, number), SQLITE_OK);
  Bind(put_, 4, value);
  Run(put_);
}

void RecordTable::Erase(std::string_view kind, std::string_view id) {
  Bind(erase_, 1, kind);
  Bind(erase_, 2, id);
  Run(erase_);
}

void RecordTable::EraseAll(std::string_view kind) {
  Bind(erase_all_, 1, kind);
  Run(erase_all_);
}

void RecordTable::ForEach(std::string_view kind, const Visitor& visit) {
  const auto text = [this](int column) {
    const auto* const bytes =
        reinterpret_cast<const char*>(sqlite3_column_text(select_.get(), column));
    return std::string_view(bytes,
                            static_cast<size_t>(sqlite3_column_bytes(select_.get(), column)));
  };
  Bind(select_, 1, kind);
  int code = SQLITE_ROW;
  while ((code = sqlite3_step(select_.get())) == SQLITE_ROW) {
    visit(std::string(text(0)), sqlite3_column_int64(select_.get(), 1), text(2));
  }
  sqlite3_reset(select_.get());
  Check(code, SQLITE_DONE);
}

}  // namespace emulator
