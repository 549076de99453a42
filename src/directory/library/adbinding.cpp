#include "directory/library/adbinding.h"

#include "directory/library/constants.h"
#include "directory/library/dn.h"

namespace kesh {

const std::shared_ptr<void> EMPTY_CBDATA;

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
