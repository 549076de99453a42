#include "directory/library/adobject.h"

#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"

namespace kesh {

bool CaseInsensitiveLess::operator()(const std::string& a, const std::string& b) const {
  size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; ++i) {
    unsigned char x = static_cast<unsigned char>(a[i]);
    unsigned char y = static_cast<unsigned char>(b[i]);
    if (x >= 'A' && x <= 'Z') x = x - 'A' + 'a';
    if (y >= 'A' && y <= 'Z') y = y - 'A' + 'a';
    if (x != y) return x < y;
  }
  return a.size() < b.size();
}

// --- ADAttribute ----------------------------------------------------------------------

ADAttribute::operator std::string() const {
  return values_.empty() ? std::string() : values_.front();
}

ADAttribute& ADAttribute::operator=(const std::string& value) {
  values_.assign(1, value);
  changed_ = true;
  return *this;
}

ADAttribute& ADAttribute::operator=(const char* value) {
  return *this = std::string(value ? value : "");
}

ADAttribute& ADAttribute::operator=(int value) { return *this = std::to_string(value); }

ADAttribute& ADAttribute::operator=(unsigned value) { return *this = std::to_string(value); }

ADAttribute& ADAttribute::operator=(bool value) { return *this = value ? TRUE_STR : FALSE_STR; }

void ADAttribute::addVal(const std::string& value, bool changed, bool binary) {
  values_.push_back(value);
  if (changed) changed_ = true;
  if (binary) binary_ = true;
}

void ADAttribute::reset() {
  values_.clear();
  changed_ = true;
  binary_ = false;
  incomplete_ = false;
}

namespace {

// A whole decimal number (optional sign) that fits an int.
bool ParseInt(const std::string& text, int& value) {
  if (text.empty() || text.size() != std::char_traits<char>::length(text.c_str())) return false;
  char* end = nullptr;
  errno = 0;
  long n = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || end == text.c_str() || *end != '\0' || n < INT_MIN || n > INT_MAX ||
      text[0] == ' ' || text[0] == '\t') {
    return false;
  }
  value = int(n);
  return true;
}

}  // namespace

bool ADAttribute::toBool() const {
  if (values_.empty()) return false;
  const std::string& v = values_.front();
  if (strcasecmp(v.c_str(), "TRUE") == 0 && v.size() == 4) return true;
  int n = 0;
  return ParseInt(v, n) && n != 0;
}

int ADAttribute::toInt() const {
  int n = 0;
  if (values_.empty() || !ParseInt(values_.front(), n)) return 0;
  return n;
}

void ADAttribute::setValues(std::vector<std::string> values) { values_ = std::move(values); }

// --- ADObjectImpl ---------------------------------------------------------------------

class ADObjectImpl {
 public:
  AttributeMap attributes;
  std::string raw;  // serialised data not yet parsed
  time_t fetchTime = time(nullptr);
  bool indexed = false;

  void ensureParsed() {
    if (!raw.empty()) parse();
  }
  void parse();
};

namespace {

const char kMagic[] = "ZSO1";
constexpr uint8_t kFlagChanged = 1;
constexpr uint8_t kFlagBinary = 2;
constexpr uint8_t kFlagIncomplete = 4;

void PutU32(std::string& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out += char((v >> (8 * i)) & 0xff);
}

void PutU64(std::string& out, uint64_t v) {
  for (int i = 0; i < 8; ++i) out += char((v >> (8 * i)) & 0xff);
}

void PutBytes(std::string& out, const std::string& bytes) {
  PutU32(out, uint32_t(bytes.size()));
  out += bytes;
}

class Reader {
 public:
  explicit Reader(const std::string& data) : data_(data) {}
  bool atEnd() const { return pos_ == data_.size(); }
  size_t remaining() const { return data_.size() - pos_; }
  uint64_t get(int width, const char* what) {
    need(width, what);
    uint64_t v = 0;
    for (int i = 0; i < width; ++i) v |= uint64_t(uint8_t(data_[pos_ + i])) << (8 * i);
    pos_ += width;
    return v;
  }
  std::string bytes(const char* what) {
    size_t length = get(4, what);
    need(length, what);
    std::string out = data_.substr(pos_, length);
    pos_ += length;
    return out;
  }
  void need(size_t n, const char* what) {
    if (remaining() < n) {
      KESH_THROW(BadDataException, 0, "Malformed serialized object: %s truncated at byte %zu", what,
                 pos_);
    }
  }
  size_t pos() const { return pos_; }

 private:
  const std::string& data_;
  size_t pos_ = 0;
};

}  // namespace

void ADObjectImpl::parse() {
  std::string data;
  data.swap(raw);
  attributes.clear();
  try {
    if (data.compare(0, 4, kMagic) != 0) {
      KESH_THROW(BadDataException, 0, "Malformed serialized object: unknown format");
    }
    Reader in(data);
    in.need(4, "header");
    in.get(4, "header");
    time_t when = time_t(in.get(8, "fetch time"));
    uint64_t count = in.get(4, "attribute count");
    AttributeMap parsed;
    for (uint64_t i = 0; i < count; ++i) {
      std::string name = in.bytes("attribute name");
      uint8_t flags = uint8_t(in.get(1, "attribute flags"));
      if (name.empty() || (flags & ~(kFlagChanged | kFlagBinary | kFlagIncomplete))) {
        KESH_THROW(BadDataException, 0, "Malformed serialized object: bad attribute at byte %zu",
                   in.pos());
      }
      uint64_t valueCount = in.get(4, "value count");
      if (valueCount > in.remaining() / 4) {
        KESH_THROW(BadDataException, 0, "Malformed serialized object: %s truncated at byte %zu",
                   "value list", in.pos());
      }
      std::vector<std::string> values;
      values.reserve(valueCount);
      for (uint64_t v = 0; v < valueCount; ++v) values.push_back(in.bytes("value"));
      ADAttribute attribute;
      attribute.setValues(std::move(values));
      attribute.setChanged(flags & kFlagChanged);
      attribute.setBinary(flags & kFlagBinary);
      attribute.setIncomplete(flags & kFlagIncomplete);
      if (!parsed.emplace(std::move(name), std::move(attribute)).second) {
        KESH_THROW(BadDataException, 0,
                   "Malformed serialized object: attribute repeated at byte %zu", in.pos());
      }
    }
    if (!in.atEnd()) {
      KESH_THROW(BadDataException, 0, "Malformed serialized object: %zu bytes after the end",
                 in.remaining());
    }
    attributes.swap(parsed);
    fetchTime = when;
  } catch (...) {
    attributes.clear();
    throw;
  }
}

// --- ADObject -------------------------------------------------------------------------

ADObject::ADObject() : impl_(std::make_shared<ADObjectImpl>()) {}

ADObject::ADObject(const std::string& dn) : ADObject() { (*this)[AD_DN].setValues({dn}); }

ADObject::ADObject(size_t length, const char* data, bool /*owned*/, KeshCache* /*cache*/)
    : ADObject() {
  if (data != nullptr && length > 0) impl_->raw.assign(data, length);
}

bool ADObject::isValid() const {
  if (!impl_) KESH_THROW(SystemException, 0, "Null adobject");
  return true;
}

bool ADObject::empty() const {
  isValid();
  return impl_->attributes.empty() && impl_->raw.empty();
}

ADAttribute& ADObject::operator[](const std::string& name) {
  isValid();
  impl_->ensureParsed();
  return impl_->attributes[name];
}

const ADAttribute* ADObject::find(const std::string& name) const {
  isValid();
  impl_->ensureParsed();
  auto it = impl_->attributes.find(name);
  return it == impl_->attributes.end() ? nullptr : &it->second;
}

bool ADObject::attributeExists(const std::string& name, bool nonEmpty) const {
  const ADAttribute* attribute = find(name);
  return attribute != nullptr && (!nonEmpty || !attribute->empty());
}

void ADObject::removeAttribute(const std::string& name) {
  isValid();
  impl_->ensureParsed();
  impl_->attributes.erase(name);
}

const AttributeMap& ADObject::attributes() const {
  isValid();
  impl_->ensureParsed();
  return impl_->attributes;
}

AttributeMap& ADObject::attributes() {
  isValid();
  impl_->ensureParsed();
  return impl_->attributes;
}

std::string ADObject::firstValue(const std::string& name) const {
  const ADAttribute* attribute = find(name);
  return attribute == nullptr ? std::string() : std::string(*attribute);
}

std::string ADObject::dn() const { return firstValue(AD_DN); }

SID ADObject::sid() const {
  std::string bytes = firstValue("objectSid");
  if (bytes.empty()) return SID();
  try {
    return SID::fromBytes(bytes);
  } catch (const BadDataException&) {
    return SID();
  }
}

Guid ADObject::guid() const {
  std::string bytes = firstValue("objectGUID");
  if (bytes.size() != 16) return NULL_GUID;
  return Guid::fromBytes(bytes);
}

std::string ADObject::category() const { return firstValue("_objectCategory"); }

time_t ADObject::fetchTime() const {
  isValid();
  impl_->ensureParsed();
  return impl_->fetchTime;
}

void ADObject::setFetchTime(time_t t) {
  isValid();
  impl_->ensureParsed();
  impl_->fetchTime = t;
}

bool ADObject::isIndexed() const {
  isValid();
  return impl_->indexed;
}

void ADObject::setIndexed(bool indexed) {
  isValid();
  impl_->indexed = indexed;
}

std::string ADObject::getSerialized() const {
  isValid();
  if (!impl_->raw.empty()) return impl_->raw;
  std::string out(kMagic, 4);
  PutU64(out, uint64_t(impl_->fetchTime));
  PutU32(out, uint32_t(impl_->attributes.size()));
  for (const auto& [name, attribute] : impl_->attributes) {
    PutBytes(out, name);
    out += char((attribute.changed() ? kFlagChanged : 0) | (attribute.binary() ? kFlagBinary : 0) |
                (attribute.incomplete() ? kFlagIncomplete : 0));
    PutU32(out, uint32_t(attribute.size()));
    for (const std::string& value : attribute.values()) PutBytes(out, value);
  }
  return out;
}

void ADObject::deSerialize(bool /*force*/) {
  isValid();
  impl_->ensureParsed();
}

void ADObject::clearChanged() {
  for (auto& entry : attributes()) entry.second.setChanged(false);
}

ADObject ADObject::clone() const {
  isValid();
  ADObject copy;
  *copy.impl_ = *impl_;
  return copy;
}

// --- ADObjectList ---------------------------------------------------------------------

ADObjectList::ADObjectList() : list_(std::make_shared<std::vector<ADObject>>()) {}

}  // namespace kesh
