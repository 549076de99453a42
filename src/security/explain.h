// Security descriptors in words, for a reader: owner, group, the DACL's flags and one line
// per ACE, with GUIDs named by the forest's extended rights and schema and SIDs by the
// well-known tables or the directory.
#ifndef ZONESMITH_SECURITY_EXPLAIN_H_
#define ZONESMITH_SECURITY_EXPLAIN_H_

#include <string>

#include "security/sddl.h"

// The whole text: "Owner: <name>\n" and "Group: <name>\n" when present, then "Dacl: " with
// the DACL's flags and a line end, then ExplainAces of the DACL's ACEs in canonical order.
// Within one call each distinct GUID and principal costs its directory searches once;
// well-known SIDs cost none.
std::string ExplainSD(SDPtr& sd);
// One line per ACE: " <type>", "<flag>,...", "<right>,...", [object, inherited object,]
// principal, joined by " | ". The object pieces appear only when the ACE carries an
// object or inherited-object GUID; naming them needs a binding (kesh::BadDataException
// "Need at least one binding to perform schema lookup" without one). With the right CR an
// object GUID names the forest's extended right of that rightsGuid; otherwise, and when
// there is none, the schema object of that schemaIDGUID, else the GUID's own text.
std::string ExplainAces(const ACEList& aces);
// explain_sd <sddl>: ParseSddl, then ExplainSD.
std::string ExplainSDText(const std::string& sddl);

#endif  // ZONESMITH_SECURITY_EXPLAIN_H_
