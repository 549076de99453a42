// The ACE sets of the delegable rights, and their writing.
#include "security/delegate.h"

#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

std::vector<DelegationAce> DelegationAces(const std::string&, SchemaType) { NOT_YET; }
void DelegateRightBySDDL(kesh::ADObject&, const std::string&, std::string, SchemaType) { NOT_YET; }
