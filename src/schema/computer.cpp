#include "schema/computer.h"

const char* const COMPUTER_VERSION_MARKER = "$KeshComputerVersion";
const char* const ZONE_COMPUTERS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshComputerVersion*))";
