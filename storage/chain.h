// A sector chain held as runs of consecutive sectors, so that a stream laid
// out contiguously costs one entry and its data one read per run.
//
// Chain is a plain value; the engine guards it with the lock of whatever owns
// it. WalkChain follows an allocation table (FAT or mini FAT) from a start
// sector and is where chains are validated: every link in range, every
// sector used by at most one chain (the visited set), and so no cycles.
#pragma once

#include "storage/status.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace mlr::storage {

struct Run {
  uint32_t first;
  uint32_t count;
};

class Chain {
 public:
  uint64_t size() const { return sectors_; }
  bool empty() const { return sectors_ == 0; }
  const std::vector<Run>& runs() const { return runs_; }

  void Append(uint32_t sector);
  void AppendRun(uint32_t first, uint32_t count);
  uint32_t Last() const;
  uint32_t At(uint64_t index) const;
  // Keeps the first n sectors and returns the dropped ones in out.
  void Truncate(uint64_t n, std::vector<uint32_t>* dropped);
  void Clear();

  // Calls fn(first_sector, count, index_of_first) for each run of
  // consecutive sectors covering sector indexes [index, index + n).
  template <typename Fn>
  Status ForEachRun(uint64_t index, uint64_t n, Fn&& fn) const;

 private:
  size_t RunOf(uint64_t index) const;

  std::vector<Run> runs_;
  std::vector<uint64_t> starts_;  // index of the first sector of each run
  uint64_t sectors_ = 0;
};

// Walks table from start for at most `limit` sectors of a table of `count`
// valid sectors. A link out of range, a sector already in *visited, or a
// chain longer than `limit` is an error naming `layer` and `what`.
// kEndOfChain as start gives an empty chain.
Status WalkChain(const std::vector<uint32_t>& table, uint32_t count, uint32_t start,
                 uint64_t limit, std::vector<bool>* visited, const char* layer,
                 const std::string& what, Chain* out);

template <typename Fn>
Status Chain::ForEachRun(uint64_t index, uint64_t n, Fn&& fn) const {
  if (n == 0) return Status::Ok();
  if (index >= sectors_ || n > sectors_ - index) return Corrupt("chain: range beyond the chain");
  size_t r = RunOf(index);
  uint64_t done = 0;
  while (done < n) {
    const Run& run = runs_[r];
    uint64_t skip = index + done - starts_[r];
    uint64_t take = run.count - skip;
    if (take > n - done) take = n - done;
    MLR_RETURN_IF_ERROR(fn(static_cast<uint32_t>(run.first + skip), static_cast<uint32_t>(take), index + done));
    done += take;
    ++r;
  }
  return Status::Ok();
}

}  // namespace mlr::storage
