#include "storage/compound_file.h"

#include "storage/hresult.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace mlr::storage {

namespace {

uint64_t CeilDiv(uint64_t a, uint64_t b) { return (a + b - 1) / b; }

std::string Quoted(const std::u16string& name) { return "\"" + ToUtf8(name) + "\""; }

}  // namespace

uint64_t FileTimeNow() {
  using namespace std::chrono;
  auto since_1970 = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count() / 100;
  return static_cast<uint64_t>(since_1970) + 116444736000000000ull;
}

StreamNode::~StreamNode() {
  if (index_ != kNoStream) file_->ReleaseOpen(index_);
}

CompoundFile::CompoundFile(std::unique_ptr<File> file, std::u16string path,
                           const Header& h)
    : io_(std::move(file), h.sector_shift),
      path_(std::move(path)),
      header_(h),
      fat_(h.sector_size(), h.major_version),
      dir_(h.sector_size(), h.major_version),
      mini_(h.sector_size()) {}

CompoundFile::~CompoundFile() {
  std::lock_guard<std::mutex> lock(mu_);
  if (dirty_ && writable()) (void)FlushLocked();
}

Result<std::shared_ptr<CompoundFile>> CompoundFile::Open(std::unique_ptr<File> file,
                                                         std::u16string path) {
  uint8_t bytes[kHeaderSize];
  size_t got = 0;
  MLR_RETURN_IF_ERROR(FromHresult(file->ReadAt(0, bytes, sizeof(bytes), &got), Code::kReadFault, "read"));
  Result<Header> header = ParseHeader(bytes, got);
  if (!header.ok()) return header.status();
  std::shared_ptr<CompoundFile> cf(new CompoundFile(std::move(file), std::move(path), *header));
  MLR_RETURN_IF_ERROR(cf->Load());
  return cf;
}

Result<std::shared_ptr<CompoundFile>> CompoundFile::Create(std::unique_ptr<File> file,
                                                           std::u16string path, uint16_t major_version) {
  if (major_version != 3 && major_version != 4)
    return Status(Code::kInvalidArg, "header: major version must be 3 or 4");
  if (!file->Writable()) return Status(Code::kAccessDenied, "cannot create in a read-only file");
  // Truncate only what is there: on some file systems a truncation to zero
  // makes the final close wait for the whole file to reach the disk.
  uint64_t existing = 0;
  MLR_RETURN_IF_ERROR(FromHresult(file->GetSize(&existing), Code::kReadFault, "size"));
  if (existing != 0) MLR_RETURN_IF_ERROR(FromHresult(file->SetSize(0), Code::kWriteFault, "resize"));
  std::shared_ptr<CompoundFile> cf(new CompoundFile(std::move(file), std::move(path), NewHeader(major_version)));
  MLR_RETURN_IF_ERROR(cf->InitNew());
  return cf;
}

Status CompoundFile::InitNew() {
  std::lock_guard<std::mutex> lock(mu_);
  MLR_RETURN_IF_ERROR(dir_.InitNew(&fat_, FileTimeNow()));
  dirty_ = true;
  return FlushLocked();
}

Status CompoundFile::Load() {
  uint64_t file_size = 0;
  MLR_RETURN_IF_ERROR(FromHresult(io_.file()->GetSize(&file_size), Code::kReadFault, "size"));
  const uint32_t ss = header_.sector_size();
  if (file_size < ss) return Corrupt("header: the file is shorter than its header sector");
  uint64_t file_sectors = CeilDiv(file_size - ss, ss);
  if (file_sectors > uint64_t{kMaxRegSect} + 1) file_sectors = uint64_t{kMaxRegSect} + 1;
  std::vector<bool> visited(static_cast<size_t>(file_sectors), false);
  MLR_RETURN_IF_ERROR(fat_.Load(header_, io_, static_cast<uint32_t>(file_sectors), &visited));
  MLR_RETURN_IF_ERROR(dir_.Load(header_, io_, fat_, &visited));
  MLR_RETURN_IF_ERROR(mini_.Load(header_, io_, fat_, dir_.entry(kRoot), &visited));
  return ValidateStreams(&visited);
}

Status CompoundFile::ValidateStreams(std::vector<bool>* visited) {
  std::vector<bool> mini_visited(mini_.sector_count(), false);
  Chain chain;
  for (uint32_t i = 1; i < dir_.size(); ++i) {
    const DirEntry& e = dir_.entry(i);
    if (e.type != EntryType::kStream || e.size == 0) continue;
    const std::string what = "stream " + Quoted(e.name);
    uint64_t need;
    if (IsMini(e)) {
      need = CeilDiv(e.size, kMiniSectorSize);
      MLR_RETURN_IF_ERROR(mini_.Walk(e.start, mini_.sector_count(), &mini_visited, what, &chain));
    } else {
      need = CeilDiv(e.size, header_.sector_size());
      MLR_RETURN_IF_ERROR(fat_.Walk(e.start, visited, what, &chain));
      if (!writable()) read_only_chains_[i] = chain;
    }
    if (chain.size() < need)
      return Corrupt(std::string(IsMini(e) ? "mini FAT" : "FAT") + ": " + what + " of " + std::to_string(e.size) +
                     " bytes has only " + std::to_string(chain.size()) + " sectors");
  }
  return Status::Ok();
}

Result<uint32_t> CompoundFile::Find(uint32_t storage, const std::u16string& name) const {
  std::lock_guard<std::mutex> lock(mu_);
  uint32_t index = dir_.Find(storage, name);
  if (index == kNoStream) return Status(Code::kFileNotFound, "no element named " + Quoted(name));
  return index;
}

bool CompoundFile::IsOpenLocked(uint32_t index) const {
  std::vector<uint32_t> stack{index};
  while (!stack.empty()) {
    uint32_t i = stack.back();
    stack.pop_back();
    if (open_.count(i)) return true;
    for (const auto& [name, child] : dir_.children(i)) stack.push_back(child);
  }
  return false;
}

Status CompoundFile::LoadChain(uint32_t index, Chain* chain) const {
  const DirEntry& e = dir_.entry(index);
  chain->Clear();
  if (e.size == 0) return Status::Ok();
  if (!IsMini(e)) {
    auto kept = read_only_chains_.find(index);
    if (kept != read_only_chains_.end()) {
      *chain = kept->second;
      return Status::Ok();
    }
  }
  const std::string what = "stream " + Quoted(e.name);
  if (IsMini(e)) return mini_.Walk(e.start, mini_.sector_count(), nullptr, what, chain);
  return fat_.Walk(e.start, nullptr, what, chain);
}

Status CompoundFile::FreeData(uint32_t index) {
  DirEntry& e = dir_.entry(index);
  if (e.type != EntryType::kStream) return Status::Ok();
  Chain chain;
  MLR_RETURN_IF_ERROR(LoadChain(index, &chain));
  if (IsMini(e))
    mini_.Free(&chain);
  else
    fat_.Free(&chain);
  e.size = 0;
  e.start = kEndOfChain;
  return Status::Ok();
}

Status CompoundFile::DestroyLocked(uint32_t storage, uint32_t index) {
  // Pre-order list of (parent, element); freed in reverse, children first.
  std::vector<std::pair<uint32_t, uint32_t>> order{{storage, index}};
  for (size_t k = 0; k < order.size(); ++k)
    for (const auto& [name, child] : dir_.children(order[k].second)) order.emplace_back(order[k].second, child);
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    MLR_RETURN_IF_ERROR(FreeData(it->second));
    dir_.Remove(it->first, it->second);
  }
  dirty_ = true;
  return Status::Ok();
}

Result<uint32_t> CompoundFile::CreateElement(uint32_t storage, const std::u16string& name, EntryType type,
                                             bool replace) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  MLR_RETURN_IF_ERROR(CheckName(name));
  uint32_t existing = dir_.Find(storage, name);
  if (existing != kNoStream) {
    if (!replace) return Status(Code::kAlreadyExists, "an element named " + Quoted(name) + " exists");
    if (IsOpenLocked(existing)) return Status(Code::kInUse, "element " + Quoted(name) + " is open");
    MLR_RETURN_IF_ERROR(DestroyLocked(storage, existing));
  }
  DirEntry e;
  e.name = name;
  e.type = type;
  e.start = kEndOfChain;
  if (type == EntryType::kStorage) e.creation_time = e.modified_time = FileTimeNow();
  Result<uint32_t> index = dir_.Add(storage, std::move(e), &fat_);
  dirty_ = true;
  return index;
}

Status CompoundFile::DestroyElement(uint32_t storage, const std::u16string& name) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  uint32_t index = dir_.Find(storage, name);
  if (index == kNoStream) return Status(Code::kFileNotFound, "no element named " + Quoted(name));
  if (IsOpenLocked(index)) return Status(Code::kInUse, "element " + Quoted(name) + " is open");
  return DestroyLocked(storage, index);
}

Status CompoundFile::RenameElement(uint32_t storage, const std::u16string& from, const std::u16string& to) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  MLR_RETURN_IF_ERROR(CheckName(to));
  uint32_t index = dir_.Find(storage, from);
  if (index == kNoStream) return Status(Code::kFileNotFound, "no element named " + Quoted(from));
  uint32_t other = dir_.Find(storage, to);
  if (other != kNoStream && other != index)
    return Status(Code::kAlreadyExists, "an element named " + Quoted(to) + " exists");
  if (IsOpenLocked(index)) return Status(Code::kInUse, "element " + Quoted(from) + " is open");
  dir_.Rename(storage, index, to);
  dirty_ = true;
  return Status::Ok();
}

static ElementInfo InfoOf(const DirEntry& e) {
  ElementInfo info;
  info.name = e.name;
  info.type = e.type;
  info.size = e.type == EntryType::kStream ? e.size : 0;
  info.clsid = e.clsid;
  info.state_bits = e.state_bits;
  info.creation_time = e.creation_time;
  info.modified_time = e.modified_time;
  return info;
}

std::vector<ElementInfo> CompoundFile::List(uint32_t storage) const {
  std::lock_guard<std::mutex> lock(mu_);
  std::vector<ElementInfo> out;
  for (const auto& [name, index] : dir_.children(storage)) out.push_back(InfoOf(dir_.entry(index)));
  return out;
}

ElementInfo CompoundFile::Stat(uint32_t index) const {
  std::lock_guard<std::mutex> lock(mu_);
  return InfoOf(dir_.entry(index));
}

Status CompoundFile::SetClass(uint32_t index, const std::array<uint8_t, 16>& clsid) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  dir_.entry(index).clsid = clsid;
  dir_.MarkDirty(index);
  dirty_ = true;
  return Status::Ok();
}

Status CompoundFile::SetStateBits(uint32_t index, uint32_t bits, uint32_t mask) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  DirEntry& e = dir_.entry(index);
  e.state_bits = (e.state_bits & ~mask) | (bits & mask);
  dir_.MarkDirty(index);
  dirty_ = true;
  return Status::Ok();
}

Status CompoundFile::SetTimes(uint32_t index, const uint64_t* creation, const uint64_t* modified) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  DirEntry& e = dir_.entry(index);
  if (creation) e.creation_time = *creation;
  if (modified) e.modified_time = *modified;
  dir_.MarkDirty(index);
  dirty_ = true;
  return Status::Ok();
}

Status CompoundFile::AcquireOpen(uint32_t index) {
  std::lock_guard<std::mutex> lock(mu_);
  if (!open_.emplace(index, 1).second) return Status(Code::kInUse, "element is open already");
  return Status::Ok();
}

void CompoundFile::ReleaseOpen(uint32_t index) {
  std::lock_guard<std::mutex> lock(mu_);
  open_.erase(index);
}

Result<std::shared_ptr<StreamNode>> CompoundFile::OpenStream(uint32_t index) {
  std::lock_guard<std::mutex> lock(mu_);
  if (dir_.entry(index).type != EntryType::kStream) return Status(Code::kFileNotFound, "not a stream");
  if (!open_.emplace(index, 1).second) return Status(Code::kInUse, "stream is open already");
  std::shared_ptr<StreamNode> node;
  try {
    node.reset(new StreamNode(shared_from_this(), index));
  } catch (...) {
    open_.erase(index);
    throw;
  }
  // From here the node's destructor releases the element (it takes the
  // file lock, so it must not run while this function holds it).
  Status st = LoadChain(index, &node->chain_);
  if (!st.ok()) {
    open_.erase(index);
    node->index_ = kNoStream;
    return st;
  }
  return node;
}

uint64_t CompoundFile::StreamSize(StreamNode& node) {
  std::lock_guard<std::mutex> lock(mu_);
  return dir_.entry(node.index_).size;
}

Status CompoundFile::ReadLocked(const Chain& chain, bool mini, uint64_t pos, void* buf, size_t n) const {
  return mini ? mini_.Read(io_, chain, pos, buf, n) : io_.ReadChain(chain, pos, buf, n);
}

Status CompoundFile::WriteLocked(const Chain& chain, bool mini, uint64_t pos, const void* buf, size_t n) const {
  return mini ? mini_.Write(io_, chain, pos, buf, n) : io_.WriteChain(chain, pos, buf, n);
}

Status CompoundFile::Read(StreamNode& node, uint64_t pos, void* buf, size_t n, size_t* read) {
  *read = 0;
  std::lock_guard<std::mutex> node_lock(node.mu);
  {
    std::lock_guard<std::mutex> lock(mu_);
    const DirEntry& e = dir_.entry(node.index_);
    if (pos >= e.size || n == 0) return Status::Ok();
    if (n > e.size - pos) n = static_cast<size_t>(e.size - pos);
    if (IsMini(e)) {
      MLR_RETURN_IF_ERROR(mini_.Read(io_, node.chain_, pos, buf, n));
      *read = n;
      return Status::Ok();
    }
  }
  MLR_RETURN_IF_ERROR(io_.ReadChain(node.chain_, pos, buf, n));
  *read = n;
  return Status::Ok();
}

Status CompoundFile::Write(StreamNode& node, uint64_t pos, const void* buf, size_t n) {
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  if (n == 0) return Status::Ok();
  if (pos > UINT64_MAX - n) return Status(Code::kTooLarge, "write beyond the largest stream size");
  std::lock_guard<std::mutex> node_lock(node.mu);
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (pos + n > dir_.entry(node.index_).size) MLR_RETURN_IF_ERROR(ResizeLocked(node, pos + n));
    if (IsMini(dir_.entry(node.index_))) return mini_.Write(io_, node.chain_, pos, buf, n);
  }
  return io_.WriteChain(node.chain_, pos, buf, n);
}

Status CompoundFile::SetSize(StreamNode& node, uint64_t size) {
  if (!writable()) return Status(Code::kAccessDenied, "the file is open read-only");
  std::lock_guard<std::mutex> node_lock(node.mu);
  std::lock_guard<std::mutex> lock(mu_);
  if (size == dir_.entry(node.index_).size) return Status::Ok();
  return ResizeLocked(node, size);
}

size_t CompoundFile::RunCount(StreamNode& node) {
  std::lock_guard<std::mutex> node_lock(node.mu);
  return node.chain_.runs().size();
}

Status CompoundFile::ResizeLocked(StreamNode& node, uint64_t size) {
  DirEntry& e = dir_.entry(node.index_);
  if (header_.major_version == 3 && size >= 0x80000000u)
    return Status(Code::kTooLarge, "a stream of a version 3 file must stay below 2 GiB");
  const uint64_t sector_size = header_.sector_size();
  const bool was_mini = IsMini(e);
  const bool will_mini = size < kMiniStreamCutoff;
  const uint64_t need = will_mini ? CeilDiv(size, kMiniSectorSize) : CeilDiv(size, sector_size);
  Chain& chain = node.chain_;
  Status st;
  if (was_mini == will_mini) {
    if (need > chain.size()) {
      st = will_mini ? mini_.Allocate(need - chain.size(), &chain, &fat_) : fat_.Allocate(need - chain.size(), &chain);
    } else if (will_mini) {
      mini_.Truncate(&chain, need);
    } else {
      fat_.Truncate(&chain, need);
    }
  } else {
    // Moving between the mini stream and ordinary sectors: the data kept is
    // below the cutoff, so it fits one small buffer.
    const size_t keep = static_cast<size_t>(std::min(e.size, size));
    std::vector<uint8_t> data(keep);
    MLR_RETURN_IF_ERROR(ReadLocked(chain, was_mini, 0, data.data(), keep));
    if (was_mini)
      mini_.Free(&chain);
    else
      fat_.Free(&chain);
    st = will_mini ? mini_.Allocate(need, &chain, &fat_) : fat_.Allocate(need, &chain);
    if (st.ok()) st = WriteLocked(chain, will_mini, 0, data.data(), keep);
  }
  if (st.ok()) st = fat_.WritePlaceholders(io_);
  e.start = chain.empty() ? kEndOfChain : chain.runs()[0].first;
  if (st.ok()) e.size = size;
  else if (was_mini != will_mini) e.size = 0;  // the old data is gone
  dir_.MarkDirty(node.index_);
  dirty_ = true;
  return st;
}

Status CompoundFile::Flush() {
  std::lock_guard<std::mutex> lock(mu_);
  return FlushLocked();
}

Status CompoundFile::FlushLocked() {
  if (!dirty_ || !writable()) return Status::Ok();
  DirEntry& root = dir_.entry(kRoot);
  if (root.start != mini_.stream_start() || root.size != mini_.stream_size()) {
    root.start = mini_.stream_start();
    root.size = mini_.stream_size();
    dir_.MarkDirty(kRoot);
  }
  MLR_RETURN_IF_ERROR(mini_.Flush(io_, &header_));
  MLR_RETURN_IF_ERROR(dir_.Flush(io_, &header_));
  MLR_RETURN_IF_ERROR(fat_.Flush(io_, &header_));
  const uint64_t ss = header_.sector_size();
  const uint64_t need = (static_cast<uint64_t>(fat_.sector_count()) + 1) * ss;
  uint64_t have = 0;
  MLR_RETURN_IF_ERROR(FromHresult(io_.file()->GetSize(&have), Code::kReadFault, "size"));
  if (have < need) MLR_RETURN_IF_ERROR(FromHresult(io_.file()->SetSize(need), Code::kWriteFault, "resize"));
  std::vector<uint8_t> sector(static_cast<size_t>(ss), 0);
  SerializeHeader(header_, sector.data());
  MLR_RETURN_IF_ERROR(io_.WriteAt(0, sector.data(), sector.size()));
  dirty_ = false;
  return Status::Ok();
}

}  // namespace mlr::storage
