#include "directory/library/adbinding.h"

#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"

namespace kesh {

const std::shared_ptr<void> EMPTY_CBDATA;

std::string OperationLabel(const char* operation, const std::string& dn) {
  return std::string(operation) + " " + (dn.empty() ? std::string("root DSE") : dn);
}

void RaiseForOperation(const LDAPException& e, const char* operation, const std::string& dn) {
  std::string message = FormatMessage("%s: %s", OperationLabel(operation, dn).c_str(), e.what());
  throw LDAPException(e.file().c_str(), e.line(), message, e.className().c_str(), e.rc());
}

PagedObjectList::PagedObjectList() = default;

PagedObjectList::PagedObjectList(std::shared_ptr<PagedObjectListImpl> impl)
    : impl_(std::move(impl)) {
  if (!impl_) return;
  impl_->init();
  lastPage_ = impl_->fetchPage(page_);
}

void PagedObjectList::nextPage() {
  // A new list, so that a page a caller still holds is not changed under it.
  page_ = ADObjectList();
  if (!impl_ || lastPage_) {
    lastPage_ = true;
    return;
  }
  lastPage_ = impl_->fetchPage(page_);
}

std::string LDAPBinding::parent(const std::string& dn) { return DN::parent(dn); }

std::string LDAPBinding::RDN(const std::string& dn) { return DN::rdn(dn); }

ADObject LDAPBinding::createChild(ADObject& parent, const std::string& rdnValue,
                                  const std::string& rdnType) {
  return createChild(parent.dn(), rdnValue, rdnType);
}

ADObject LDAPBinding::createChild(const std::string& parentDn, const std::string& rdnValue,
                                  const std::string& rdnType) {
  std::string dn = rdnType + "=" + DN::escapeRDNValue(rdnValue);
  if (!parentDn.empty()) dn += "," + parentDn;
  return ADObject(dn);
}

}  // namespace kesh
