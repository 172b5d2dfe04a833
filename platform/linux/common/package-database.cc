// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/package-database.h"

#include <dlog.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <mutex>
#include <system_error>

#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

using sqlite::Database;
using sqlite::Query;
using sqlite::Transaction;

constexpr int64_t kSchemaVersion = 1;

constexpr char kSchema[] = R"sql(
  CREATE TABLE packages(
    id TEXT PRIMARY KEY, version TEXT NOT NULL, type TEXT NOT NULL, root_path TEXT NOT NULL,
    preload INTEGER NOT NULL) WITHOUT ROWID;
  CREATE TABLE applications(
    id TEXT PRIMARY KEY, package_id TEXT NOT NULL REFERENCES packages(id) ON DELETE CASCADE,
    position INTEGER NOT NULL, kind INTEGER NOT NULL, executable TEXT NOT NULL) WITHOUT ROWID;
  CREATE UNIQUE INDEX applications_by_package ON applications(package_id, position);
  CREATE UNIQUE INDEX applications_by_executable ON applications(executable);
  CREATE TABLE metadata(
    app_id TEXT NOT NULL REFERENCES applications(id) ON DELETE CASCADE, position INTEGER NOT NULL,
    key TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY(app_id, position)) WITHOUT ROWID;
  CREATE INDEX metadata_by_key ON metadata(key, value);
  CREATE TABLE privileges(
    package_id TEXT NOT NULL REFERENCES packages(id) ON DELETE CASCADE, position INTEGER NOT NULL,
    name TEXT NOT NULL, PRIMARY KEY(package_id, position)) WITHOUT ROWID;
  PRAGMA user_version = 1;
)sql";

constexpr char kSelectPackage[] = "SELECT id, version, type, root_path, preload FROM packages ";
constexpr char kSelectApplication[] =
    "SELECT a.id, a.package_id, a.kind, a.executable, p.preload, p.root_path "
    "FROM applications a JOIN packages p ON p.id = a.package_id ";

// The connection of this process to the database, reopened when the root or the file changes. The
// status identifies the file: it is never modified in place, and its inode number is not reused
// while it is open.
struct Cache {
  std::mutex mutex;
  std::string file;
  struct stat status {};
  std::optional<Database> database;
};

Cache& GetCache() {
  // Never destroyed, because destructors of static objects may query it.
  static Cache* const cache = new Cache;
  return *cache;
}

std::string FileIn(const std::string& root) { return root + "/" + kPackageDatabase; }

int64_t SchemaVersion(Database& database) {
  Query query = database.Prepare("PRAGMA user_version");
  return query.Step() ? query.Number(0) : 0;
}

// Exclusive use of the connection, which is empty while there is no database.
class Session {
 public:
  Session() : cache_(GetCache()), lock_(cache_.mutex) {
    const std::string file = FileIn(RootPath());
    struct stat status {};
    const bool exists = stat(file.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
      throw DatabaseError(file + ": " + std::generic_category().message(errno));
    if (exists && cache_.database && cache_.file == file && IsSame(cache_.status, status)) return;
    cache_.database.reset();
    // Opening a named pipe would block until it has a writer.
    if (exists && !S_ISREG(status.st_mode)) throw DatabaseError(file + ": not a file");
    if (exists) Open(file, status);
  }

  explicit operator bool() const { return cache_.database.has_value(); }
  Database& operator*() const { return *cache_.database; }
  Database* operator->() const { return &*cache_.database; }

 private:
  static bool IsSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino &&
           one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
           one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
  }

  void Open(const std::string& file, const struct stat& status) {
    Database database(file, Database::Mode::kImmutable);
    // In KiB. Enough, because consecutive queries read neighbouring pages.
    database.Execute("PRAGMA cache_size = -256");
    const int64_t version = SchemaVersion(database);
    // An empty file: nothing is installed.
    if (version == 0) return;
    if (version != kSchemaVersion)
      throw DatabaseError(file + ": created by another version of the platform");
    cache_.database.emplace(std::move(database));
    cache_.file = file;
    cache_.status = status;
  }

  Cache& cache_;
  std::lock_guard<std::mutex> lock_;
};

// Returns the result of a query, or an empty result while there is no database.
template <typename Body>
auto Read(const Body& body) {
  Session session;
  if (!session) return decltype(body(session))();
  return body(session);
}

void LoadMetadata(Database& database, ApplicationRecord* application) {
  Query query =
      database.Prepare("SELECT key, value FROM metadata WHERE app_id = ?1 ORDER BY position");
  query.Bind(1, application->id);
  while (query.Step()) application->metadata.emplace_back(query.Text(0), query.Text(1));
}

// Reads the row of kSelectApplication at the query's position.
ApplicationRecord ReadApplication(Database& database, const Query& query) {
  ApplicationRecord application;
  application.id = query.Text(0);
  application.package_id = query.Text(1);
  application.kind = static_cast<ApplicationKind>(query.Number(2));
  application.executable = query.Text(3);
  application.preload = query.Number(4) != 0;
  application.package_root = query.Text(5);
  LoadMetadata(database, &application);
  return application;
}

// Reads the row of kSelectPackage at the query's position.
PackageRecord ReadPackage(Database& database, const Query& query) {
  PackageRecord package;
  package.id = query.Text(0);
  package.version = query.Text(1);
  package.type = query.Text(2);
  package.root_path = query.Text(3);
  package.preload = query.Number(4) != 0;
  Query applications = database.Prepare(std::string(kSelectApplication) +
                                        "WHERE a.package_id = ?1 ORDER BY a.position");
  applications.Bind(1, package.id);
  while (applications.Step())
    package.applications.push_back(ReadApplication(database, applications));
  Query privileges =
      database.Prepare("SELECT name FROM privileges WHERE package_id = ?1 ORDER BY position");
  privileges.Bind(1, package.id);
  while (privileges.Step()) package.privileges.push_back(privileges.Text(0));
  return package;
}

void InsertApplication(Database& database, const PackageRecord& package, size_t position) {
  const ApplicationRecord& application = package.applications[position];
  Query insert = database.Prepare(
      "INSERT INTO applications(id, package_id, position, kind, executable) "
      "VALUES(?1, ?2, ?3, ?4, ?5)");
  insert.Bind(1, application.id)
      .Bind(2, package.id)
      .Bind(3, static_cast<int64_t>(position))
      .Bind(4, static_cast<int64_t>(application.kind))
      .Bind(5, application.executable)
      .Step();
  for (size_t i = 0; i < application.metadata.size(); ++i) {
    Query metadata = database.Prepare(
        "INSERT INTO metadata(app_id, position, key, value) VALUES(?1, ?2, ?3, ?4)");
    metadata.Bind(1, application.id)
        .Bind(2, static_cast<int64_t>(i))
        .Bind(3, application.metadata[i].first)
        .Bind(4, application.metadata[i].second)
        .Step();
  }
}

void DeletePackage(Database& database, const std::string& package_id) {
  database.Prepare("DELETE FROM packages WHERE id = ?1").Bind(1, package_id).Step();
}

void InsertPackage(Database& database, const PackageRecord& package) {
  database
      .Prepare(
          "INSERT INTO packages(id, version, type, root_path, preload) VALUES(?1, ?2, ?3, ?4, ?5)")
      .Bind(1, package.id)
      .Bind(2, package.version)
      .Bind(3, package.type)
      .Bind(4, package.root_path)
      .Bind(5, static_cast<int64_t>(package.preload))
      .Step();
  for (size_t i = 0; i < package.applications.size(); ++i) InsertApplication(database, package, i);
  for (size_t i = 0; i < package.privileges.size(); ++i) {
    database.Prepare("INSERT INTO privileges(package_id, position, name) VALUES(?1, ?2, ?3)")
        .Bind(1, package.id)
        .Bind(2, static_cast<int64_t>(i))
        .Bind(3, package.privileges[i])
        .Step();
  }
}

// Flushes a file, or the names in a folder, to the disk.
void Sync(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file || fsync(file.Get()) != 0)
    throw DatabaseError(path + ": " + std::generic_category().message(errno));
}

// The next state of the database: a modified copy that is renamed over the file. Readers see either
// the old or the new state, and so does the next process after a crash.
class NextState {
 public:
  NextState()
      : root_(RootFolder()), file_(FolderBelowRoot(kStagingFolder) + "/" + kPackageDatabase) {
    Remove();
    // Throws for a file that is not a database or of another version.
    const Session session;
    std::error_code error;
    if (session) std::filesystem::copy_file(FileIn(root_), file_, error);
    if (error) throw DatabaseError(file_ + ": " + error.message());
  }
  ~NextState() { Remove(); }
  NextState(const NextState&) = delete;
  NextState& operator=(const NextState&) = delete;

  void Change(const std::function<void(Database&)>& change) const {
    Database database(file_, Database::Mode::kCreate);
    // No journal on disk: after a failure the copy is removed.
    database.Execute(
        "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF;"
        "PRAGMA foreign_keys = ON");
    Transaction transaction(database);
    if (SchemaVersion(database) == 0) database.Execute(kSchema);
    change(database);
    transaction.Commit();
  }

  void Publish() const {
    Sync(file_);
    if (rename(file_.c_str(), FileIn(root_).c_str()) != 0)
      throw DatabaseError(FileIn(root_) + ": " + std::generic_category().message(errno));
    try {
      Sync(root_);
    } catch (const DatabaseError& error) {
      // The operation succeeded: all readers see the new state.
      dlog_print(DLOG_ERROR, "PLATFORM", "%s", error.what());
    }
  }

 private:
  void Remove() const { unlink(file_.c_str()); }

  const std::string root_;
  const std::string file_;
};

void Write(const std::function<void(Database&)>& change) {
  static std::mutex write_mutex;
  const std::lock_guard<std::mutex> lock(write_mutex);
  const NextState next;
  next.Change(change);
  next.Publish();
}

}  // namespace

std::shared_ptr<const PackageRecord> FindPackage(const std::string& package_id) {
  return Read([&](Session& session) -> std::shared_ptr<const PackageRecord> {
    Query query = session->Prepare(std::string(kSelectPackage) + "WHERE id = ?1");
    query.Bind(1, package_id);
    if (!query.Step()) return nullptr;
    return std::make_shared<const PackageRecord>(ReadPackage(*session, query));
  });
}

std::optional<ApplicationRecord> FindApplication(const std::string& app_id) {
  return Read([&](Session& session) -> std::optional<ApplicationRecord> {
    Query query = session->Prepare(std::string(kSelectApplication) + "WHERE a.id = ?1");
    query.Bind(1, app_id);
    if (!query.Step()) return std::nullopt;
    return ReadApplication(*session, query);
  });
}

std::optional<std::string> FindApplicationIdByExecutable(const std::string& path) {
  Session session;
  if (!session) return std::nullopt;
  Query query = session->Prepare("SELECT id FROM applications WHERE executable = ?1");
  query.Bind(1, path);
  if (!query.Step()) return std::nullopt;
  return query.Text(0);
}

std::vector<PackageRecord> AllPackages() {
  return Read([](Session& session) {
    std::vector<PackageRecord> packages;
    Query query = session->Prepare(std::string(kSelectPackage) + "ORDER BY id");
    while (query.Step()) packages.push_back(ReadPackage(*session, query));
    return packages;
  });
}

std::vector<ApplicationRecord> FindApplicationsWithMetadata(
    const std::vector<MetadataCondition>& conditions) {
  return Read([&](Session& session) {
    std::string sql = kSelectApplication;
    const char* glue = "WHERE ";
    for (const MetadataCondition& condition : conditions) {
      sql += glue;
      sql += "a.id IN (SELECT app_id FROM metadata WHERE key = ?";
      if (condition.value) sql += " AND value = ?";
      sql += ") ";
      glue = "AND ";
    }
    Query query = session->Prepare(sql + "ORDER BY a.package_id, a.position");
    int parameter = 0;
    for (const MetadataCondition& condition : conditions) {
      query.Bind(++parameter, condition.key);
      if (condition.value) query.Bind(++parameter, *condition.value);
    }
    std::vector<ApplicationRecord> applications;
    while (query.Step()) applications.push_back(ReadApplication(*session, query));
    return applications;
  });
}

bool PackageOfApplicationHasPrivilege(const std::string& app_id, const std::string& privilege) {
  Session session;
  if (!session) return false;
  Query query = session->Prepare(
      "SELECT 1 FROM applications a JOIN privileges r ON r.package_id = a.package_id "
      "WHERE a.id = ?1 AND r.name = ?2");
  return query.Bind(1, app_id).Bind(2, privilege).Step();
}

void StorePackages(const std::vector<PackageRecord>& packages) {
  Write([&](Database& database) {
    for (const PackageRecord& package : packages) {
      DeletePackage(database, package.id);
      InsertPackage(database, package);
    }
  });
}

void StorePackage(const PackageRecord& package) { StorePackages({package}); }

void RemovePackage(const std::string& package_id) {
  Write([&](Database& database) { DeletePackage(database, package_id); });
}

}  // namespace platform
