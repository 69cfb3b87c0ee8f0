// Basic authentication against a users file. Each line is
// "user:password:role1,role2"; blank lines and lines starting with '#' are
// skipped; the password is everything between the first and the last colon.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_USERS_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_USERS_H_

#include <map>
#include <optional>
#include <set>
#include <string>

namespace auditserver {

// The role that may send events.
inline constexpr char kWriterRole[] = "writer";

struct Credentials {
  std::string user;
  std::string password;
};

// The user and password of an "Authorization: Basic ..." header value.
std::optional<Credentials> DecodeBasicAuth(const std::string &header);

class UserTable {
 public:
  enum class Check { kGranted, kNoRole, kRefused };

  // False with *error when the file cannot be read or a line is malformed.
  bool Load(const std::string &path, std::string *error);
  bool empty() const { return users_.empty(); }
  // kRefused for a missing header, an unknown user or a wrong password;
  // kNoRole for a known user without `role`. *user is the name presented.
  Check Authorize(const std::string &authorizationHeader, const std::string &role, std::string *user) const;

 private:
  struct User {
    std::string password;
    std::set<std::string> roles;
  };
  std::map<std::string, User> users_;
};

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_USERS_H_
