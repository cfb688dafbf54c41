#include "Datasource/refCount.h"

VORN_RefCntObject& VORN_RefCntObject::operator=(const VORN_RefCntObject& other) noexcept {
  fCount = other.fCount;
  fShareable = other.fShareable;
  return *this;
}

VORN_RefCntObject::~VORN_RefCntObject() = default;

void VORN_RefCntObject::RemoveReference() {
  fCount = static_cast<std::int32_t>(static_cast<std::uint32_t>(fCount) - 1);
  if (fCount == 0) {
    delete this;
  }
}
