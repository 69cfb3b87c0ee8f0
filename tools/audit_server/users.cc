#include "tools/audit_server/users.h"

#include <fstream>

namespace auditserver {
namespace {

std::string Trim(const std::string &s) {
  size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

int Base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

std::optional<std::string> Base64Decode(const std::string &in) {
  std::string out;
  unsigned bits = 0;
  int count = 0;
  size_t end = in.find_last_not_of('=');
  if (end == std::string::npos || in.size() - end - 1 > 2) return std::nullopt;
  for (size_t i = 0; i <= end; ++i) {
    int v = Base64Value(in[i]);
    if (v < 0) return std::nullopt;
    bits = (bits << 6) | static_cast<unsigned>(v);
    count += 6;
    if (count >= 8) {
      count -= 8;
      out += static_cast<char>((bits >> count) & 0xFF);
    }
  }
  return out;
}

}  // namespace

std::optional<Credentials> DecodeBasicAuth(const std::string &header) {
  std::string h = Trim(header);
  if (h.size() < 6 || (h.compare(0, 6, "Basic ") != 0 && h.compare(0, 6, "basic ") != 0)) return std::nullopt;
  auto decoded = Base64Decode(Trim(h.substr(6)));
  if (!decoded) return std::nullopt;
  size_t colon = decoded->find(':');
  if (colon == std::string::npos) return std::nullopt;
  return Credentials{decoded->substr(0, colon), decoded->substr(colon + 1)};
}

bool UserTable::Load(const std::string &path, std::string *error) {
  std::ifstream in(path);
  if (!in) {
    *error = "cannot read the users file " + path;
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    std::string t = Trim(line);
    if (t.empty() || t[0] == '#') continue;
    size_t first = t.find(':');
    size_t last = t.rfind(':');
    if (first == std::string::npos || first == last || first == 0) {
      *error = path + ":" + std::to_string(number) + ": expected user:password:roles";
      return false;
    }
    User &user = users_[t.substr(0, first)];
    user.password = t.substr(first + 1, last - first - 1);
    std::string roles = t.substr(last + 1);
    for (size_t start = 0; start <= roles.size();) {
      size_t comma = roles.find(',', start);
      if (comma == std::string::npos) comma = roles.size();
      std::string role = Trim(roles.substr(start, comma - start));
      if (!role.empty()) user.roles.insert(role);
      start = comma + 1;
    }
  }
  return true;
}

UserTable::Check UserTable::Authorize(const std::string &authorizationHeader, const std::string &role,
                                      std::string *user) const {
  user->clear();
  auto credentials = DecodeBasicAuth(authorizationHeader);
  if (!credentials) return Check::kRefused;
  *user = credentials->user;
  auto it = users_.find(credentials->user);
  if (it == users_.end() || it->second.password != credentials->password) return Check::kRefused;
  return it->second.roles.count(role) != 0 ? Check::kGranted : Check::kNoRole;
}

}  // namespace auditserver
