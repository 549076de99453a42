// Assignments in memory and their text form.
#include "authorization/assignment.h"

#include "authorization/role.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

const char* const AD_USER_PTYPE = "u";
const char* const AD_GROUP_PTYPE = "g";
const char* const ALL_AD_USERS_PTYPE = "a";
const char* const ALL_LOCAL_USERS_PTYPE = "x";
const char* const LOCAL_USER_PTYPE = "#";
const char* const LOCAL_GROUP_PTYPE = "%";
const char* const ALL_AD_USERS = "all ad users";
const char* const ALL_UNIX_USERS = "all unix users";
const char* const LOCALHOST_SUFFIX = "@localhost";

void Assignment::setRole(const QVRole&) { NOT_YET; }
std::string Assignment::getRoleName() const { NOT_YET; }
bool Assignment::isLocal() const { NOT_YET; }

void ParseAssignment(const std::string&, std::string&, std::string&, std::string&, std::string&) {
  NOT_YET;
}
