// The predefined objects of a new store: PAM rights, the roles of hierarchical stores, and
// the security descriptor of a classic store's admin manager.
#include "authorization/qv.h"
#include "directory/library/exceptions.h"

void QVStore::delegateQVRights(kesh::ADObject&) {}
void QVClassicStore::createDefaultObjects(kesh::ADObject&, kesh::ADObject&) {}
void QVClassicStore::delegateQVRights(kesh::ADObject&) {}
void QVNGStore::createDefaultObjects(kesh::ADObject&, kesh::ADObject&) {}
