// The one symbol the library exports: the init entry that Tcl's `load` calls.
#include <exception>

#include "script/cpptcl.h"
#include "script/zonesmithlib.h"

#define ZONESMITH_EXPORT __attribute__((visibility("default")))

extern "C" ZONESMITH_EXPORT int Zonesmith_Init(Tcl_Interp* interp) {
  // The wrapper does not own the interpreter; the session keeps a wrapper of its own.
  Tcl::interpreter wrapper(interp, false);
  try {
    return Zonesmith_cpptcl_Init(wrapper);
  } catch (const std::exception& e) {
    // Nothing may be thrown into Tcl; a load that failed this way reports why.
    Tcl_SetObjResult(interp, Tcl_NewStringObj(e.what(), -1));
    return TCL_ERROR;
  }
}
