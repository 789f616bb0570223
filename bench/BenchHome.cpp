#include "BenchHome.h"

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelPlatform/Fatal.h>

#include <cstdlib>
#include <system_error>

namespace kestrel::bench {

BenchHome::BenchHome(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) platform::fatal("cannot make %s", pattern.c_str());
  root_ = pattern;
  helper_ = FMDBHelper::forHome(root_);
  queue_ = helper_->getDBQueue();
  if (!queue_) platform::fatal("cannot open the bench database in %s", pattern.c_str());
}

BenchHome::~BenchHome() {
  queue_.reset();
  helper_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void BenchHome::run(const std::vector<std::string>& statements) const {
  queue_->inTransaction([&](FMDatabase* db, bool*) {
    for (const std::string& statement : statements) {
      if (db == nullptr || !db->executeUpdate(statement)) {
        platform::fatal("kestrel-bench: cannot run %s", statement.c_str());
      }
    }
  });
}

}  // namespace kestrel::bench
