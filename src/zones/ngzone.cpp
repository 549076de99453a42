// Hierarchical zones: opening, creation, the parent link, children and NSS variables.
#include "zones/ngzone.h"

#include "directory/library/exceptions.h"

namespace {

[[noreturn]] void NotYet(const char* operation) {
  KESH_THROW(kesh::BadDataException, 0, "%s is not available yet", operation);
}

}  // namespace

void NGZone::CommonOpen(NGZone*, std::shared_ptr<MyBinding>&, bool, const std::string&) {
  NotYet("CommonOpen");
}
void NGZone::Create(std::shared_ptr<MyBinding>, const std::string&, SchemaType, bool) {
  NotYet("Create");
}
void NGZone::getNssVars(std::map<std::string, std::string>&) { NotYet("getNssVars"); }
void NGZone::setNssVars(std::map<std::string, std::string>&) { NotYet("setNssVars"); }
void NGZone::remove() { NotYet("remove"); }

std::shared_ptr<IZone> TreeZone::Open(std::shared_ptr<MyBinding>, const std::string&) {
  NotYet("TreeZone::Open");
}
std::shared_ptr<IZone> TreeZone::Create(std::shared_ptr<MyBinding>, const std::string&,
                                        SchemaType, bool) {
  NotYet("TreeZone::Create");
}
std::string TreeZone::getPath() { NotYet("getPath"); }
std::string TreeZone::getZoneName() { NotYet("getZoneName"); }
void TreeZone::saveZone() { NotYet("saveZone"); }
std::string TreeZone::getParent(bool) { NotYet("getParent"); }
void TreeZone::setParent(const std::string&) { NotYet("setParent"); }
void TreeZone::getChildren(std::list<std::shared_ptr<IZone>>&, bool, bool, bool) {
  NotYet("getChildren");
}

void CheckForExternalRoles(std::shared_ptr<IZone>) {}
