#include "tools/audit_server/event_store.h"

#include <sqlite3.h>
#include <sys/time.h>

#include <ctime>

namespace auditserver {
namespace {

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS events("
    "id INTEGER PRIMARY KEY, received TEXT NOT NULL, global_instance_id TEXT, extension_name TEXT, "
    "creation_time TEXT, xml TEXT NOT NULL)";
constexpr char kInsert[] =
    "INSERT INTO events(received, global_instance_id, extension_name, creation_time, xml) "
    "VALUES(?, ?, ?, ?, ?)";
constexpr char kSelectAll[] =
    "SELECT id, received, global_instance_id, extension_name, creation_time, xml FROM events ORDER BY id";
constexpr char kTotals[] =
    "SELECT COUNT(*), COUNT(DISTINCT global_instance_id), COUNT(global_instance_id) FROM events";
constexpr char kRepeated[] =
    "SELECT global_instance_id, COUNT(*) FROM events WHERE global_instance_id IS NOT NULL "
    "GROUP BY global_instance_id HAVING COUNT(*) > 1 ORDER BY MIN(id)";
constexpr int kBusyTimeoutMs = 5000;

// UTC with milliseconds, e.g. 2024-05-01T12:00:00.123Z.
std::string Now() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  tm t;
  gmtime_r(&tv.tv_sec, &t);
  char buf[40];
  size_t n = strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &t);
  snprintf(buf + n, sizeof buf - n, ".%03dZ", static_cast<int>(tv.tv_usec / 1000));
  return buf;
}

bool Exec(sqlite3 *db, const char *sql, std::string *error) {
  char *msg = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &msg) == SQLITE_OK) return true;
  *error = msg != nullptr ? msg : sqlite3_errmsg(db);
  sqlite3_free(msg);
  return false;
}

void Bind(sqlite3_stmt *st, int index, const std::optional<std::string> &value) {
  if (value) {
    sqlite3_bind_text(st, index, value->data(), static_cast<int>(value->size()), SQLITE_TRANSIENT);
  } else {
    sqlite3_bind_null(st, index);
  }
}

std::string Column(sqlite3_stmt *st, int index) {
  const unsigned char *text = sqlite3_column_text(st, index);
  return text == nullptr ? "" : reinterpret_cast<const char *>(text);
}

std::string EscapeField(const std::string &s) {
  std::string out;
  for (char c : s) {
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// A read-only connection for the report writers.
class Reader {
 public:
  Reader(const std::string &path, std::string *error) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      *error = "cannot open " + path + ": " + (db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory");
      sqlite3_close(db_);
      db_ = nullptr;
      return;
    }
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
  }
  ~Reader() { sqlite3_close(db_); }
  // Runs `sql`, calling `row` for each result row; false with *error.
  template <class Row>
  bool Query(const char *sql, std::string *error, Row row) {
    if (db_ == nullptr) return false;
    sqlite3_stmt *st = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &st, nullptr) != SQLITE_OK) {
      *error = sqlite3_errmsg(db_);
      return false;
    }
    int rc;
    while ((rc = sqlite3_step(st)) == SQLITE_ROW) row(st);
    if (rc != SQLITE_DONE) *error = sqlite3_errmsg(db_);
    sqlite3_finalize(st);
    return rc == SQLITE_DONE;
  }

 private:
  sqlite3 *db_ = nullptr;
};

}  // namespace

std::unique_ptr<EventStore> EventStore::Open(const std::string &path, std::string *error) {
  std::unique_ptr<EventStore> store(new EventStore());
  if (sqlite3_open_v2(path.c_str(), &store->db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
      SQLITE_OK) {
    *error = "cannot open " + path + ": " + (store->db_ != nullptr ? sqlite3_errmsg(store->db_) : "");
    return nullptr;
  }
  sqlite3_busy_timeout(store->db_, kBusyTimeoutMs);
  if (!Exec(store->db_, "PRAGMA journal_mode=WAL", error) ||
      !Exec(store->db_, "PRAGMA synchronous=NORMAL", error) || !Exec(store->db_, kSchema, error)) {
    *error = path + ": " + *error;
    return nullptr;
  }
  if (sqlite3_prepare_v2(store->db_, kInsert, -1, &store->insert_, nullptr) != SQLITE_OK) {
    *error = sqlite3_errmsg(store->db_);
    return nullptr;
  }
  return store;
}

EventStore::~EventStore() {
  sqlite3_finalize(insert_);
  sqlite3_close(db_);
}

bool EventStore::Store(const std::vector<EventEntry> &events, std::string *error) {
  std::string received = Now();
  std::lock_guard<std::mutex> lock(mu_);
  if (!Exec(db_, "BEGIN IMMEDIATE", error)) return false;
  for (const auto &e : events) {
    sqlite3_reset(insert_);
    sqlite3_bind_text(insert_, 1, received.c_str(), -1, SQLITE_TRANSIENT);
    Bind(insert_, 2, e.globalInstanceId);
    Bind(insert_, 3, e.extensionName);
    Bind(insert_, 4, e.creationTime);
    sqlite3_bind_text(insert_, 5, e.xml.data(), static_cast<int>(e.xml.size()), SQLITE_TRANSIENT);
    if (sqlite3_step(insert_) != SQLITE_DONE) {
      *error = sqlite3_errmsg(db_);
      sqlite3_reset(insert_);
      std::string ignored;
      Exec(db_, "ROLLBACK", &ignored);
      return false;
    }
  }
  sqlite3_reset(insert_);
  if (Exec(db_, "COMMIT", error)) return true;
  std::string ignored;
  Exec(db_, "ROLLBACK", &ignored);
  return false;
}

bool EventStore::Dump(const std::string &path, std::ostream &out, std::string *error) {
  Reader reader(path, error);
  return reader.Query(kSelectAll, error, [&](sqlite3_stmt *st) {
    out << sqlite3_column_int64(st, 0);
    for (int i = 1; i < 6; ++i) out << '\t' << EscapeField(Column(st, i));
    out << '\n';
  });
}

bool EventStore::Count(const std::string &path, std::ostream &out, std::string *error) {
  Reader reader(path, error);
  long long total = 0, distinct = 0, withGiid = 0;
  if (!reader.Query(kTotals, error, [&](sqlite3_stmt *st) {
        total = sqlite3_column_int64(st, 0);
        distinct = sqlite3_column_int64(st, 1);
        withGiid = sqlite3_column_int64(st, 2);
      })) {
    return false;
  }
  out << "events=" << total << "\ndistinct_global_instance_ids=" << distinct
      << "\nduplicates=" << withGiid - distinct << "\nwithout_global_instance_id=" << total - withGiid
      << "\n";
  return reader.Query(kRepeated, error, [&](sqlite3_stmt *st) {
    out << "duplicate " << Column(st, 0) << ' ' << sqlite3_column_int64(st, 1) << "\n";
  });
}

}  // namespace auditserver
