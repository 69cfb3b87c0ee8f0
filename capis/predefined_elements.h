// The predefined element tables that an event is checked against before it is
// sent: one common table for every event and one table per event type. The
// rows are static data; the name hashes, the per-table counts and the hash
// indexes are filled in once per process by ZOinitEventTable and are
// read-only afterwards.
#ifndef ZOVEXA_CAPIS_PREDEFINED_ELEMENTS_H_
#define ZOVEXA_CAPIS_PREDEFINED_ELEMENTS_H_

#include <cstdint>

#include "capis/utilities.h"

// Conditional rules, each carried by the entry of the element it concerns and
// applied only when that element is absent from the event.
enum ZOspecialCheck : uint32_t {
  SPCHK_NONE = 0,
  SPCHK_TIMESTAMP = 1,               // "timestamp": add one from the default time stamp
  SPCHK_ACTION_LOGOUT = 2,           // "terminateReason": required when action is "logout"
  SPCHK_OUTCOME_RESULT_SUCCESS = 3,  // "accessDecision": required when the outcome is "SUCCESSFUL"
  SPCHK_ACC_DEC_DENIED = 4,          // "accessDecisionReason": required when accessDecision is "denied"
  SPCHK_ACTION_STATISTIC = 5,        // "perfInfo": required when action is "statistic"
  SPCHK_COMP_STAT_NON_COMP = 6,      // "violationName": required when complianceStatus is "nonCompliant"
  SPCHK_ACTION_HTTP_REQ = 7,         // "httpURLInfo": required when action is "httpRequest"
};

// Checks on the string value of a predefined element.
enum ZOvalueCheck : uint32_t {
  VALCHK_NONE = 0,
  VALCHK_LOCATION_TYPE = 1,  // one of the location-type names
  VALCHK_YES_NO = 2,         // exactly "Yes" or "No"
};

struct ZOpredefTable;

// One row of a table.
struct ZOpredefElement {
  const char *name;
  uint32_t nameHash;        // filled in at initialisation
  uint32_t valueType;       // the only value type allowed
  uint32_t required;        // 1: the element must be present
  uint32_t specCheck;       // ZOspecialCheck
  uint32_t valueCheck;      // ZOvalueCheck
  ZOpredefTable *subTable;  // rules for the element's sub-elements, or NULL
};

struct ZOpredefTable {
  uint32_t count;          // rows in `entries`
  uint32_t requiredCount;  // rows with `required` set, counted at initialisation
  uint32_t specialCount;   // rows with a special check, counted at initialisation
  ZOhashNode **index;      // name index over `entries`, built at initialisation
  uint32_t indexSize;
  ZOpredefElement *entries;
};

// One event type and its table.
struct ZOeventTableRow {
  const char *eventType;  // NULL in the row that ends the list
  uint32_t typeHash;      // filled in at initialisation
  ZOpredefTable *table;
};

// The rules every event is checked against.
extern ZOpredefTable ZOcommonTable;
// The seventeen event types, ended by a row whose eventType is NULL.
extern ZOeventTableRow ZOeventTable[];

#endif  // ZOVEXA_CAPIS_PREDEFINED_ELEMENTS_H_
