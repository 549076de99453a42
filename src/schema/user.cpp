// Profile classes: the accepted states of local profiles, and the group factories.
#include "schema/user.h"

#include "directory/library/exceptions.h"

LocalAccountState::LocalAccountState()
    : accepted{{"1", "enable"}, {"2", "disable"}, {"3", "remove"}} {}

LocalGroupState::LocalGroupState() { accepted = {{"1", "enable"}, {"3", "remove"}}; }

void LocalAccountState::set(const std::string& value) {
  if (value == FIELD_NOT_SET || accepted.count(value) != 0) {
    text = value;
    return;
  }
  std::string rows;
  for (const auto& row : accepted) {
    if (!rows.empty()) rows += ",";
    rows += row.first + " (for \"" + row.second + "\")";
  }
  KESH_THROW(kesh::BadDataException, 0, "Invalid value. Accepted value are %s.", rows.c_str());
}

kesh::ADObject NssLocalUser::getADUObject() {
  KESH_THROW(kesh::BadDataException, 0, "A local user has no directory user");
}

NssGroup* MakeZGroup() { return new NssGroup(GROUP_TYPE_ZONE); }
NssGroup* MakeLocalGroup() { return new NssGroup(GROUP_TYPE_LOCAL); }
