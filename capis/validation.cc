// Event validation against the predefined element tables: required elements,
// value types, non-null values, value checks and the conditional rules.
#include "capis/validation.h"

#include <atomic>
#include <cstring>
#include <iterator>
#include <mutex>

#include "capis/audit_element.h"
#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "capis/predefined_elements.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"

#define ZO_SRC "capis/validation"

namespace {

// The tables are built once per process. Context creation already calls the
// build under the common block's mutex; the flag and mutex here make the
// build safe on their own and let the check build lazily if it ever runs
// first. After the flag is set the tables are only read.
std::mutex gBuildMutex;
std::atomic<bool> gTablesBuilt{false};

// A conditional rule that demands its entry's element when another element
// (`trigger`) has exactly the text `triggerText`. Indexed by code - 2; the
// time stamp rule (code 1) adds an element instead and is handled apart.
struct ZOconditionRule {
  uint32_t code;
  const char *trigger;
  const char *triggerText;
};
constexpr ZOconditionRule kConditionRules[] = {
    {SPCHK_ACTION_LOGOUT, "action", "logout"},
    {SPCHK_OUTCOME_RESULT_SUCCESS, "outcome", "SUCCESSFUL"},
    {SPCHK_ACC_DEC_DENIED, "accessDecision", "denied"},
    {SPCHK_ACTION_STATISTIC, "action", "statistic"},
    {SPCHK_COMP_STAT_NON_COMP, "complianceStatus", "nonCompliant"},
    {SPCHK_ACTION_HTTP_REQ, "action", "httpRequest"},
};
constexpr uint32_t kFirstConditionCode = SPCHK_ACTION_LOGOUT;
constexpr uint32_t kLastConditionCode = SPCHK_ACTION_HTTP_REQ;
static_assert(std::size(kConditionRules) == kLastConditionCode - kFirstConditionCode + 1);

void freeIndexes(ZOpredefTable *table) {
  if (table->index != nullptr) freeHashTable(table->index, table->indexSize);
  table->index = nullptr;
  table->indexSize = 0;
  for (uint32_t i = 0; i < table->count; ++i) {
    if (table->entries[i].subTable != nullptr) freeIndexes(table->entries[i].subTable);
  }
}

// Fills in the name hashes and counts of one table (and its sub-tables) and
// builds its index. false when memory ran out; the caller frees what was built.
bool buildTable(ZOpredefTable *table) {
  if (table->index != nullptr) return true;  // shared sub-table, built already
  table->requiredCount = 0;
  table->specialCount = 0;
  for (uint32_t i = 0; i < table->count; ++i) {
    ZOpredefElement &entry = table->entries[i];
    entry.nameHash = ZOhashFunc(entry.name);
    if (entry.required != 0) ++table->requiredCount;
    if (entry.specCheck != SPCHK_NONE) ++table->specialCount;
  }
  const uint32_t size = computeHashTableSz(table->count);
  ZOhashNode **index = ZOcreateHashTable(size);
  if (index == nullptr) return false;
  table->index = index;
  table->indexSize = size;
  for (uint32_t i = 0; i < table->count; ++i) {
    if (ZOaddToHashTable(table->entries[i].name, i, index, size) == nullptr) return false;
  }
  for (uint32_t i = 0; i < table->count; ++i) {
    if (table->entries[i].subTable != nullptr && !buildTable(table->entries[i].subTable)) return false;
  }
  return true;
}

// The entry for an element, found by the element's stored name hash; NULL
// for a free-form element.
const ZOpredefElement *findEntry(const ZOpredefTable *table, uint32_t nameHash, const char *name) {
  for (const ZOhashNode *node = table->index[nameHash % table->indexSize]; node != nullptr;
       node = node->next) {
    if (std::strcmp(node->name, name) == 0) return &table->entries[node->index];
  }
  return nullptr;
}

const ZOpredefTable *findTypeTable(const char *eventType) {
  if (eventType == nullptr) return nullptr;
  const uint32_t hash = ZOhashFunc(eventType);
  for (const ZOeventTableRow *row = ZOeventTable; row->eventType != nullptr; ++row) {
    if (row->typeHash == hash && std::strcmp(row->eventType, eventType) == 0) return row->table;
  }
  return nullptr;
}

// Everything one check needs; the counters gather what the elements present
// contribute to the required and special totals.
struct ZOcheck {
  ZOVEXA_AuditClientContext *context;
  ZOVEXA_AuditEvent *event;
  ZOVEXA_result *result;
  uint32_t requiredPresent = 0;
  uint32_t specialPresent = 0;
};

int checkRequired(ZOcheck &check, const ZOelementList &list, const ZOpredefTable &table);

// The value type and the non-null value of a predefined element.
int checkTypeAndValue(ZOcheck &check, const ZOpredefElement &entry, const ZOVEXA_AuditElement &element) {
  if (element.valueType != entry.valueType) {
    ZOreport(check.context, check.result, 14, 0, 2, element.name, static_cast<int>(element.valueType));
    return -1;
  }
  if (element.value == nullptr) {
    ZOreport(check.context, check.result, 16, 0, 1, element.name);
    return -1;
  }
  return 0;
}

// Type, value, the entry's value check and its sub-table.
int checkPredefined(ZOcheck &check, const ZOpredefElement &entry, const ZOVEXA_AuditElement &element) {
  if (checkTypeAndValue(check, entry, element) != 0) return -1;
  const char *text = static_cast<const char *>(element.value);
  bool valid = true;
  switch (entry.valueCheck) {
    case VALCHK_LOCATION_TYPE:
      valid = ZOisLocationType(check.context, text);
      break;
    case VALCHK_YES_NO:
      valid = std::strcmp(text, "Yes") == 0 || std::strcmp(text, "No") == 0;
      break;
    default:
      break;
  }
  if (!valid) {
    ZOreport(check.context, check.result, 47, 0, 2, element.name, text);
    return -1;
  }
  if (entry.subTable != nullptr) return checkRequired(check, element.sub, *entry.subTable);
  return 0;
}

// One element against one table: free-form names pass.
int checkElement(ZOcheck &check, const ZOpredefTable &table, const ZOVEXA_AuditElement &element) {
  const ZOpredefElement *entry = findEntry(&table, element.nameHash, element.name);
  if (entry == nullptr) return 0;
  if (entry->required != 0) ++check.requiredPresent;
  if (entry->specCheck != SPCHK_NONE) ++check.specialPresent;
  return checkPredefined(check, *entry, element);
}

int reportMissing(ZOcheck &check, const char *name) {
  ZOreport(check.context, check.result, 15, 0, 1, name);
  ZO_ERROR(check.context, "[checkEvent]", "ERROR: the required element '%s' is not present", name);
  return -1;
}

// Every required entry of `table` must be in `list`; the ones present get
// the type and null checks again.
int checkRequired(ZOcheck &check, const ZOelementList &list, const ZOpredefTable &table) {
  for (uint32_t i = 0; i < table.count; ++i) {
    const ZOpredefElement &entry = table.entries[i];
    if (entry.required == 0) continue;
    const ZOVEXA_AuditElement *element = ZOfindInList(&list, entry.name);
    if (element == nullptr) return reportMissing(check, entry.name);
    if (checkTypeAndValue(check, entry, *element) != 0) return -1;
  }
  return 0;
}

// The text a condition compares: a string element's value, or the result of
// an outcome record.
const char *conditionText(const ZOVEXA_AuditElement &element) {
  if (element.value == nullptr) return nullptr;
  if (element.valueType == VEXA_VT_STRING) return static_cast<const char *>(element.value);
  if (element.valueType == VEXA_VT_OUTCOME) return static_cast<const ZOVEXA_Outcome *>(element.value)->result;
  return nullptr;
}

// Adds "timestamp" as a copy of the event's default time stamp. The name is
// plain ASCII, so it is not converted.
int addTimestamp(ZOcheck &check, const char *name) {
  ZOVEXA_AuditElement *element = ZOauditElement_Create(check.context, name, VEXA_VT_DATETIME,
                                                       check.event->defaultTimeStamp, 1, 0, check.result);
  if (element == nullptr) return -1;
  if (ZOattachElement(check.context, &check.event->elements, nullptr, true, element, check.result) != 0) {
    ZOauditElement_Delete(check.context, element, check.result);
    return -1;
  }
  return 0;
}

// The rule of an entry whose element is absent.
int applyRule(ZOcheck &check, const ZOpredefElement &entry) {
  if (entry.specCheck == SPCHK_TIMESTAMP) return addTimestamp(check, entry.name);
  if (entry.specCheck < kFirstConditionCode || entry.specCheck > kLastConditionCode) {
    ZO_ERROR(check.context, "[checkEvent]", "ERROR: the special check code is invalid: %d",
             static_cast<int>(entry.specCheck));
    return -1;
  }
  const ZOconditionRule &rule = kConditionRules[entry.specCheck - kFirstConditionCode];
  const ZOVEXA_AuditElement *trigger = ZOfindInList(&check.event->elements, rule.trigger);
  if (trigger == nullptr) return 0;
  const char *text = conditionText(*trigger);
  if (text != nullptr && std::strcmp(text, rule.triggerText) == 0) return reportMissing(check, entry.name);
  return 0;
}

// The rules of the table's special entries whose elements are absent. The
// walk ends once it has seen every special entry of the table.
int applyRules(ZOcheck &check, const ZOpredefTable &table) {
  uint32_t visited = 0;
  for (uint32_t i = 0; i < table.count && visited < table.specialCount; ++i) {
    const ZOpredefElement &entry = table.entries[i];
    if (entry.specCheck == SPCHK_NONE) continue;
    ++visited;
    if (ZOfindInList(&check.event->elements, entry.name) != nullptr) continue;
    if (applyRule(check, entry) != 0) return -1;
  }
  return 0;
}

int runCheck(ZOcheck &check) {
  const ZOpredefTable *typeTable = findTypeTable(check.event->eventType);
  uint32_t requiredTotal = ZOcommonTable.requiredCount;
  uint32_t specialTotal = ZOcommonTable.specialCount;
  if (typeTable != nullptr) {
    requiredTotal += typeTable->requiredCount;
    specialTotal += typeTable->specialCount;
  }

  const ZOelementList &elements = check.event->elements;
  for (int32_t i = 0; i < elements.count; ++i) {
    const ZOVEXA_AuditElement &element = *elements.items[i];
    if (checkElement(check, ZOcommonTable, element) != 0) return -1;
    if (typeTable != nullptr && checkElement(check, *typeTable, element) != 0) return -1;
  }

  if (check.requiredPresent < requiredTotal) {
    if (checkRequired(check, elements, ZOcommonTable) != 0) return -1;
    if (typeTable != nullptr && checkRequired(check, elements, *typeTable) != 0) return -1;
    return 0;
  }
  if (check.specialPresent < specialTotal) {
    if (applyRules(check, ZOcommonTable) != 0) return -1;
    if (typeTable != nullptr && applyRules(check, *typeTable) != 0) return -1;
  }
  return 0;
}

}  // namespace

int ZOinitEventTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  if (gTablesBuilt.load(std::memory_order_acquire)) return 0;
  std::lock_guard<std::mutex> lock(gBuildMutex);
  if (gTablesBuilt.load(std::memory_order_relaxed)) return 0;
  ZO_ENTRY(context, "[initEventTable]");

  bool built = buildTable(&ZOcommonTable);
  for (ZOeventTableRow *row = ZOeventTable; built && row->eventType != nullptr; ++row) {
    row->typeHash = ZOhashFunc(row->eventType);
    built = buildTable(row->table);
  }
  if (!built) {
    freeIndexes(&ZOcommonTable);
    for (ZOeventTableRow *row = ZOeventTable; row->eventType != nullptr; ++row) freeIndexes(row->table);
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, "[initEventTable]", "ERROR: cannot malloc");
    ZO_EXIT_RC(context, "[initEventTable]", -1);
    return -1;
  }
  gTablesBuilt.store(true, std::memory_order_release);
  ZO_EXIT_RC(context, "[initEventTable]", 0);
  return 0;
}

int ZOcheckEvent(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  if (event == nullptr || result == nullptr) {
    ZOnullParmHandler2(event, context, result, ZO_SRC, __LINE__, "[checkEvent]");
    return -1;
  }
  if (context == nullptr) context = event->context;
  ZO_ENTRY(context, "[checkEvent]");
  if (!gTablesBuilt.load(std::memory_order_acquire) && ZOinitEventTable(context, result) != 0) return -1;

  ZOcheck check{context, event, result};
  const int rc = runCheck(check);
  ZO_EXIT_RC(context, "[checkEvent]", rc);
  return rc;
}
