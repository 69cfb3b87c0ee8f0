// An ordered map of strings: insertion order is kept, lookup compares keys
// exactly, and Put replaces the value of an existing key in place (keeping its
// position). Used for object, configuration and event properties, where the
// number of keys is small and the order in which they were set matters.
#ifndef ZOVEXA_CCLOG_STRING_MAP_H_
#define ZOVEXA_CCLOG_STRING_MAP_H_

#include <cstring>
#include <string>
#include <utility>
#include <vector>

class StringMap {
 public:
  using Entry = std::pair<std::string, std::string>;

  const std::string *Find(const char *key) const {
    for (const Entry &e : entries_)
      if (e.first == key) return &e.second;
    return nullptr;
  }
  bool Has(const char *key) const { return Find(key) != nullptr; }
  void Put(const char *key, const char *value) {
    for (Entry &e : entries_) {
      if (e.first == key) {
        e.second = value;
        return;
      }
    }
    entries_.emplace_back(key, value);
  }
  bool Remove(const char *key) {
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
      if (it->first == key) {
        entries_.erase(it);
        return true;
      }
    }
    return false;
  }
  bool Empty() const { return entries_.empty(); }
  size_t Size() const { return entries_.size(); }
  void Clear() { entries_.clear(); }
  const std::vector<Entry> &Entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

#endif  // ZOVEXA_CCLOG_STRING_MAP_H_
