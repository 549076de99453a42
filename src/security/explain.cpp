#include "security/explain.h"

#include "directory/library/exceptions.h"

std::string ExplainSD(SDPtr&) { KESH_THROW(kesh::BadDataException, 0, "ExplainSD: not implemented"); }

std::string ExplainAces(const ACEList&) {
  KESH_THROW(kesh::BadDataException, 0, "ExplainAces: not implemented");
}

std::string ExplainSDText(const std::string& sddl) {
  SDPtr sd = ParseSddl(sddl);
  return ExplainSD(sd);
}
