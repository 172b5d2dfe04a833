// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/package-database.h"

#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <system_error>
#include <unordered_map>

#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/shared-packages.h"

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

// The one connection of this process, made anew when the root or the file behind it changes, and
// with every use as long as the file can only be read.
struct Cache {
  std::mutex mutex;
  std::string file;
  dev_t device = 0;
  ino_t inode = 0;
  std::optional<Database> database;
  int64_t version = 0;  // of what the file holds, as SQLite counts the changes of others
  SharedPackages packages;
};

Cache& TheCache() {
  // Never destroyed: queries may come from destructors of static objects.
  static Cache* const cache = new Cache;
  return *cache;
}

// Exclusive use of the connection. A reader's session is empty while there is no database.
class Session {
 public:
  enum class Access { kRead, kWrite };

  explicit Session(Access access) : cache_(TheCache()), lock_(cache_.mutex) {
    const std::string file =
        (access == Access::kWrite ? RootFolder() : RootPath()) + "/packages.db";
    const bool is_current = IsCurrent(file);
    if (!is_current || access == Access::kWrite) cache_.packages.Forget();
    if (is_current) return;
    cache_.database.reset();
    cache_.file.clear();
    if (access == Access::kRead && !exists_) return;
    Open(file, access);
  }

  explicit operator bool() const { return cache_.database.has_value(); }
  Database& operator*() const { return *cache_.database; }
  Database* operator->() const { return &*cache_.database; }

  // The records of what the database holds now. To be asked for in a transaction.
  SharedPackages& Packages() {
    Query query = cache_.database->Prepare("PRAGMA data_version");
    const int64_t version = query.Step() ? query.Number(0) : 0;
    if (version != cache_.version) cache_.packages.Forget();
    cache_.version = version;
    return cache_.packages;
  }

 private:
  bool IsCurrent(const std::string& file) {
    struct stat status {};
    exists_ = stat(file.c_str(), &status) == 0;
    if (!exists_ && errno != ENOENT)
      throw DatabaseError(file + ": " + std::generic_category().message(errno));
    return exists_ && cache_.database && cache_.file == file && cache_.device == status.st_dev &&
           cache_.inode == status.st_ino && !cache_.database->IsReadOnly();
  }

  void Open(const std::string& file, Access access) {
    Database database(
        file, access == Access::kWrite ? Database::Mode::kCreate : Database::Mode::kExisting);
    // A few pages: what is asked for in a row stands side by side.
    database.Execute("PRAGMA foreign_keys = ON; PRAGMA cache_size = -256");
    if (access == Access::kWrite) CreateSchema(database);
    const int64_t version = SchemaVersion(database);
    // Made by a writer that has not come to its first transaction yet: nothing is installed.
    if (version == 0) return;
    if (version != kSchemaVersion)
      throw DatabaseError(file + ": made by another version of this platform");
    struct stat status {};
    if (stat(file.c_str(), &status) != 0)
      throw DatabaseError(file + ": " + std::generic_category().message(errno));
    cache_.database.emplace(std::move(database));
    cache_.file = file;
    cache_.device = status.st_dev;
    cache_.inode = status.st_ino;
  }

  static int64_t SchemaVersion(Database& database) {
    Query query = database.Prepare("PRAGMA user_version");
    return query.Step() ? query.Number(0) : 0;
  }

  static void CreateSchema(Database& database) {
    if (SchemaVersion(database) != 0) return;
    // Readers never wait for a writer then.
    database.Execute("PRAGMA journal_mode = WAL");
    Transaction transaction(database, Transaction::Kind::kWrite);
    if (SchemaVersion(database) == 0) database.Execute(kSchema);
    transaction.Commit();
  }

  Cache& cache_;
  std::lock_guard<std::mutex> lock_;
  bool exists_ = false;
};

// What `body` reads of one state of the database; nothing while there is none.
template <typename Body>
auto Read(const Body& body) {
  Session session(Session::Access::kRead);
  if (!session) return decltype(body(session))();
  Transaction snapshot(*session, Transaction::Kind::kRead);
  auto result = body(session);
  snapshot.Commit();
  return result;
}

void LoadMetadata(Database& database, ApplicationRecord* application) {
  Query query =
      database.Prepare("SELECT key, value FROM metadata WHERE app_id = ?1 ORDER BY position");
  query.Bind(1, application->id);
  while (query.Step()) application->metadata.emplace_back(query.Text(0), query.Text(1));
}

// Reads the row of kSelectApplication that the query stands on.
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

// Reads the row of kSelectPackage that the query stands on.
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

}  // namespace

std::shared_ptr<const PackageRecord> FindPackage(const std::string& package_id) {
  return Read([&](Session& session) -> std::shared_ptr<const PackageRecord> {
    SharedPackages& packages = session.Packages();
    if (auto shared = packages.Find(package_id)) return shared;
    Query query = session->Prepare(std::string(kSelectPackage) + "WHERE id = ?1");
    query.Bind(1, package_id);
    if (!query.Step()) return nullptr;
    return packages.Share(ReadPackage(*session, query));
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
  Session session(Session::Access::kRead);
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
  Session session(Session::Access::kRead);
  if (!session) return false;
  Query query = session->Prepare(
      "SELECT 1 FROM applications a JOIN privileges r ON r.package_id = a.package_id "
      "WHERE a.id = ?1 AND r.name = ?2");
  return query.Bind(1, app_id).Bind(2, privilege).Step();
}

void StorePackage(const PackageRecord& package) {
  Session session(Session::Access::kWrite);
  Transaction transaction(*session, Transaction::Kind::kWrite);
  DeletePackage(*session, package.id);
  session
      ->Prepare(
          "INSERT INTO packages(id, version, type, root_path, preload) VALUES(?1, ?2, ?3, ?4, ?5)")
      .Bind(1, package.id)
      .Bind(2, package.version)
      .Bind(3, package.type)
      .Bind(4, package.root_path)
      .Bind(5, static_cast<int64_t>(package.preload))
      .Step();
  for (size_t i = 0; i < package.applications.size(); ++i) InsertApplication(*session, package, i);
  for (size_t i = 0; i < package.privileges.size(); ++i) {
    session->Prepare("INSERT INTO privileges(package_id, position, name) VALUES(?1, ?2, ?3)")
        .Bind(1, package.id)
        .Bind(2, static_cast<int64_t>(i))
        .Bind(3, package.privileges[i])
        .Step();
  }
  transaction.Commit();
}

void RemovePackage(const std::string& package_id) {
  Session session(Session::Access::kWrite);
  Transaction transaction(*session, Transaction::Kind::kWrite);
  DeletePackage(*session, package_id);
  transaction.Commit();
}

}  // namespace platform
