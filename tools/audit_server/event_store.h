// The SQLite database of received events: one row per event with the time it
// arrived, its global instance id, extension name and creation time (NULL
// when the event has none) and its XML as sent. A request is stored in one
// transaction, so a batch is there entirely or not at all.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_EVENT_STORE_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_EVENT_STORE_H_

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "tools/audit_server/soap_request.h"

struct sqlite3;
struct sqlite3_stmt;

namespace auditserver {

class EventStore {
 public:
  // Opens or creates the database (WAL journal); NULL with *error.
  static std::unique_ptr<EventStore> Open(const std::string &path, std::string *error);
  ~EventStore();
  EventStore(const EventStore &) = delete;
  EventStore &operator=(const EventStore &) = delete;

  // Stores every event of a batch, all stamped with the same arrival time.
  // Safe from several threads.
  bool Store(const std::vector<EventEntry> &events, std::string *error);

  // Writers for --dump and --count; they open the database read-only.
  // --dump: one line per event, "id received giid extension creation xml"
  // separated by tabs; backslash, tab, CR and LF in a field are written as
  // \\ \t \r \n; NULL is an empty field.
  static bool Dump(const std::string &path, std::ostream &out, std::string *error);
  // --count: "events=", "distinct_global_instance_ids=", "duplicates=" (rows
  // whose id was stored before) and "without_global_instance_id=" lines, then
  // one "duplicate <giid> <times>" line per repeated id.
  static bool Count(const std::string &path, std::ostream &out, std::string *error);

 private:
  EventStore() = default;

  std::mutex mu_;
  sqlite3 *db_ = nullptr;
  sqlite3_stmt *insert_ = nullptr;
};

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_EVENT_STORE_H_
