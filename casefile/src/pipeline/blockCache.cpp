#include "blockCache.h"

#include <utility>

namespace casefile::pipeline {
namespace {

constexpr std::size_t kSpareBuffers = 2;

}  // namespace

BlockCache::BlockCache(BlockDecoder& decoder, std::size_t capacity, std::size_t blockSize, std::size_t filled)
    : decoder_(decoder),
      capacity_(capacity),
      filled_(filled),
      pool_(std::make_shared<BufferPool>(blockSize, kSpareBuffers)) {}

std::shared_ptr<const DecodedBlock> BlockCache::get(std::size_t block) {
  if (capacity_ == 0) {
    return decode(block);
  }
  std::shared_ptr<Decoding> decoding;
  {
    Lock lock(mutex_);
    if (const auto found = kept_.find(block); found != kept_.end()) {
      uses_.splice(uses_.begin(), uses_, found->second.use);
      return found->second.bytes;
    }
    if (const auto found = decodings_.find(block); found != decodings_.end()) {
      decoding = found->second;
      return await(lock, *decoding);
    }
    decoding = std::make_shared<Decoding>();
    decodings_.emplace(block, decoding);
    if (kept_.size() >= capacity_) {
      makeRoom();
    }
  }
  return decodeForAll(block, *decoding);
}

BlockCache::Bytes BlockCache::await(Lock& lock, Decoding& decoding) {
  decoding.ended.wait(lock, [&] { return decoding.over; });
  if (decoding.error) {
    std::rethrow_exception(decoding.error);
  }
  return decoding.bytes;
}

// Whatever happens, those who wait are told.
BlockCache::Bytes BlockCache::decodeForAll(std::size_t block, Decoding& decoding) {
  Bytes bytes;
  std::exception_ptr error;
  try {
    bytes = decode(block);
  } catch (...) {
    error = std::current_exception();
  }
  {
    const Lock lock(mutex_);
    decoding.bytes = bytes;
    decoding.error = error;
    decoding.over = true;
    decodings_.erase(block);
    if (bytes) {
      keep(block, bytes);
    }
  }
  decoding.ended.notify_all();
  if (error) {
    std::rethrow_exception(error);
  }
  return bytes;
}

BlockCache::Bytes BlockCache::decode(std::size_t block) {
  auto bytes = std::make_shared<DecodedBlock>(pool_, filled_);
  decoder_.decode(block, *bytes);
  return bytes;
}

void BlockCache::makeRoom() noexcept {
  kept_.erase(uses_.back());
  uses_.pop_back();
}

void BlockCache::keep(std::size_t block, const Bytes& bytes) noexcept {
  while (kept_.size() >= capacity_) {
    makeRoom();
  }
  try {
    uses_.push_front(block);
  } catch (...) {
    return;  // no memory to remember it: it is decoded again
  }
  try {
    kept_.emplace(block, Kept{bytes, uses_.begin()});
  } catch (...) {
    uses_.pop_front();
  }
}

}  // namespace casefile::pipeline
