// Profile classes: the accepted states of local profiles, and the group factories.
#include "schema/user.h"

#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

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

std::string FieldText(const OptionalField<uint32_t>& field, const std::string& unset) {
  return field.isSet ? kesh::uitoa(field.value) : unset;
}

std::string FieldText(const OptionalField<std::string>& field, const std::string& unset) {
  return field.isSet ? field.value : unset;
}

OptionalField<uint32_t> NumberOf(const OptionalField<std::string>& text, bool emptyIsUnset) {
  OptionalField<uint32_t> number;
  if (text.isSet && !(emptyIsUnset && text.value.empty())) number.set(kesh::atoui(text.value));
  return number;
}

OptionalField<std::string> TextOf(const OptionalField<uint32_t>& field) {
  OptionalField<std::string> text;
  if (field.isSet) text.set(std::to_string(field.value));
  return text;
}

void SetOrClear(kesh::ADObject& target, const char* name, const OptionalField<std::string>& field) {
  kesh::ADAttribute& attr = target[name];
  if (field.isSet) {
    attr = field.value;
  } else {
    attr.reset();
  }
}

void SetFieldText(OptionalField<uint32_t>& field, const std::string& value) {
  if (value == FIELD_NOT_SET) {
    field.clear();
  } else {
    field.set(kesh::atoui(value));
  }
}

void SetFieldText(OptionalField<std::string>& field, const std::string& value) {
  if (value == FIELD_NOT_SET) {
    field.clear();
  } else {
    field.set(value);
  }
}

std::string JoinFields(const std::vector<std::string>& fields) {
  std::string line;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (i != 0) line += ":";
    line += fields[i];
  }
  return line;
}
