// The conformance cases against the local Samba DC through the LDAP backend.
#include "directory/conformance_cases.h"
#include "samba_target.h"

namespace conformance {

Target& CurrentTarget() {
  static SambaTarget target;
  return target;
}

}  // namespace conformance
