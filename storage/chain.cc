#include "storage/chain.h"

#include "storage/sector_ids.h"

#include <algorithm>

namespace mlr::storage {

void Chain::Append(uint32_t sector) { AppendRun(sector, 1); }

void Chain::AppendRun(uint32_t first, uint32_t count) {
  if (count == 0) return;
  if (!runs_.empty()) {
    Run& last = runs_.back();
    if (static_cast<uint64_t>(last.first) + last.count == first &&
        static_cast<uint64_t>(last.count) + count <= UINT32_MAX) {
      last.count += count;
      sectors_ += count;
      return;
    }
  }
  runs_.push_back({first, count});
  starts_.push_back(sectors_);
  sectors_ += count;
}

uint32_t Chain::Last() const {
  if (runs_.empty()) return kEndOfChain;
  return runs_.back().first + runs_.back().count - 1;
}

size_t Chain::RunOf(uint64_t index) const {
  auto it = std::upper_bound(starts_.begin(), starts_.end(), index);
  return static_cast<size_t>(it - starts_.begin()) - 1;
}

uint32_t Chain::At(uint64_t index) const {
  size_t r = RunOf(index);
  return runs_[r].first + static_cast<uint32_t>(index - starts_[r]);
}

void Chain::Truncate(uint64_t n, std::vector<uint32_t>* dropped) {
  if (n >= sectors_) return;
  while (!runs_.empty() && starts_.back() >= n) {
    const Run run = runs_.back();
    for (uint32_t i = 0; i < run.count; ++i) dropped->push_back(run.first + i);
    runs_.pop_back();
    starts_.pop_back();
  }
  if (!runs_.empty()) {
    Run& last = runs_.back();
    uint64_t keep = n - starts_.back();
    for (uint64_t i = keep; i < last.count; ++i) dropped->push_back(static_cast<uint32_t>(last.first + i));
    last.count = static_cast<uint32_t>(keep);
  }
  sectors_ = n;
}

void Chain::Clear() {
  runs_.clear();
  starts_.clear();
  sectors_ = 0;
}

Status WalkChain(const std::vector<uint32_t>& table, uint32_t count, uint32_t start, uint64_t limit,
                 std::vector<bool>* visited, const char* layer, const std::string& what, Chain* out) {
  out->Clear();
  uint32_t s = start;
  uint64_t walked = 0;
  uint32_t run_first = 0, run_count = 0;  // consecutive sectors not yet appended
  while (s != kEndOfChain) {
    if (s >= count || s >= table.size())
      return Corrupt(std::string(layer) + ": " + what + " links to sector " + std::to_string(s) +
                     ", beyond the last sector " + std::to_string(count));
    if (visited) {
      if ((*visited)[s])
        return Corrupt(std::string(layer) + ": sector " + std::to_string(s) + " is linked twice (" +
                       what + ")");
      (*visited)[s] = true;
    }
    if (walked++ >= limit)
      return Corrupt(std::string(layer) + ": " + what + " is longer than " + std::to_string(limit) +
                     " sectors");
    if (run_count != 0 && s == run_first + run_count) {
      ++run_count;
    } else {
      out->AppendRun(run_first, run_count);
      run_first = s;
      run_count = 1;
    }
    s = table[s];
  }
  out->AppendRun(run_first, run_count);
  return Status::Ok();
}

}  // namespace mlr::storage
