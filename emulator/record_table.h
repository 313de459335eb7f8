#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace emulator {

// A file of records: text by kind, ID and number, in that order. Every change is whole in the file
// once its call has returned, whenever the process is killed. One process has the file at a time.
// Not safe for concurrent use. Everything throws std::runtime_error.
class RecordTable {
 public:
  // Opens the file, made if need be.
  explicit RecordTable(const std::filesystem::path& file);

  // Changes that are in the file together from Commit on; without it, none of them is.
  class Transaction {
   public:
    explicit Transaction(RecordTable& table);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void Commit();

   private:
    RecordTable& table_;
    bool open_ = true;
  };

  void Put(std::string_view kind, std::string_view id, int64_t number, std::string_view value);
  // All numbers of the ID.
  void Erase(std::string_view kind, std::string_view id);
  void EraseAll(std::string_view kind);

  using Visitor =
      std::function<void(const std::string& id, int64_t number, std::string_view value)>;
  void ForEach(std::string_view kind, const Visitor& visit);

 private:
  template <auto kFree>
  struct Free {
    template <typename Object>
    void operator()(Object* object) const {
      kFree(object);
    }
  };
  static void CloseDatabase(sqlite3* database);
  static void EndStatement(sqlite3_stmt* statement);
  using Database = std::unique_ptr<sqlite3, Free<CloseDatabase>>;
  using Statement = std::unique_ptr<sqlite3_stmt, Free<EndStatement>>;

  void Check(int code, int wanted) const;
  void Execute(const char* sql);
  Statement Prepare(const char* sql);
  void Bind(const Statement& statement, int place, std::string_view text);
  // Runs a statement that gives no rows, and leaves it for the next time.
  void Run(const Statement& statement);

  Database database_;
  Statement put_, erase_, erase_all_, select_;
};

}  // namespace emulator
