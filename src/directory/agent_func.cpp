#include "directory/agent_func.h"

#include "directory/library/exceptions.h"

std::string Adinfo(const std::string&) {
  KESH_THROW(kesh::BadDataException, 0, "get_adinfo: not implemented");
}

int IsUserInGroup(const std::string&, const std::string&) {
  KESH_THROW(kesh::BadDataException, 0, "joined_user_in_group: not implemented");
}

Tcl::object UserGroups(const std::string&) {
  KESH_THROW(kesh::BadDataException, 0, "joined_get_user_membership: not implemented");
}

std::string UnixNameToPrincipal(const Tcl::object&) {
  KESH_THROW(kesh::BadDataException, 0, "joined_name_to_principal: not implemented");
}
