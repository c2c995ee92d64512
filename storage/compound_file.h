// CompoundFile: the engine behind the storage interfaces. It owns the file,
// the header, the FAT/DIFAT, the directory and the mini stream, and offers
// element operations by directory index and stream I/O through StreamNode.
//
// Lifetime: held by std::shared_ptr; every storage and stream object keeps it
// alive. When the last holder lets go, the destructor writes the metadata
// (FAT, DIFAT, mini FAT, directory, header) of a writable file that changed;
// Flush does the same on demand (Commit).
//
// Threading: all members are thread-safe. One mutex (the file lock) guards
// the metadata; each open stream has its own mutex (StreamNode::mu) that
// orders its reads and writes. Data of ordinary streams is read and written
// outside the file lock, straight from the cached sector runs of the stream,
// so streams of one file are read and written in parallel; only allocation,
// the mini stream and directory changes are serialised. Lock order: a
// stream's mutex before the file lock.
//
// Open elements: each storage or stream below the root may be open once at a
// time (the file is used with STGM_SHARE_EXCLUSIVE); a second open, and
// destroying, renaming or replacing an open element, give kInUse.
#pragma once

#include "platform/file.h"
#include "storage/chain.h"
#include "storage/directory.h"
#include "storage/fat.h"
#include "storage/header.h"
#include "storage/mini_stream.h"
#include "storage/sector_ids.h"
#include "storage/sector_io.h"
#include "storage/status.h"

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace mlr::storage {

struct ElementInfo {
  std::u16string name;
  EntryType type = EntryType::kEmpty;
  uint64_t size = 0;
  std::array<uint8_t, 16> clsid{};
  uint32_t state_bits = 0;
  uint64_t creation_time = 0;  // FILETIME ticks
  uint64_t modified_time = 0;
};

class CompoundFile;

// An open stream's state, shared by the stream object and its clones.
class StreamNode {
 public:
  ~StreamNode();
  uint32_t index() const { return index_; }
  const std::shared_ptr<CompoundFile>& file() const { return file_; }

 private:
  friend class CompoundFile;
  StreamNode(std::shared_ptr<CompoundFile> file, uint32_t index) : file_(std::move(file)), index_(index) {}

  std::shared_ptr<CompoundFile> file_;
  uint32_t index_;
  std::mutex mu;
  Chain chain_;  // mini chain while the stream is below the cutoff, else its sectors
};

class CompoundFile : public std::enable_shared_from_this<CompoundFile> {
 public:
  static constexpr uint32_t kRoot = 0;

  // Opens an existing file and validates all of its structures.
  static Result<std::shared_ptr<CompoundFile>> Open(std::unique_ptr<File> file,
                                                    std::u16string path);
  // Writes a new empty compound file of major version 3 or 4 into `file`.
  static Result<std::shared_ptr<CompoundFile>> Create(std::unique_ptr<File> file,
                                                      std::u16string path, uint16_t major_version);
  ~CompoundFile();

  bool writable() const { return io_.file()->Writable(); }
  const std::u16string& path() const { return path_; }

  // Elements. `storage` is the index of a storage (kRoot for the root).
  // Find: kFileNotFound if there is no such child.
  Result<uint32_t> Find(uint32_t storage, const std::u16string& name) const;
  // Creates a child; an existing one is kAlreadyExists, or replaced when
  // `replace` is set (kInUse if it is open).
  Result<uint32_t> CreateElement(uint32_t storage, const std::u16string& name, EntryType type, bool replace);
  Status DestroyElement(uint32_t storage, const std::u16string& name);
  Status RenameElement(uint32_t storage, const std::u16string& from, const std::u16string& to);
  std::vector<ElementInfo> List(uint32_t storage) const;
  ElementInfo Stat(uint32_t index) const;
  Status SetClass(uint32_t index, const std::array<uint8_t, 16>& clsid);
  Status SetStateBits(uint32_t index, uint32_t bits, uint32_t mask);
  Status SetTimes(uint32_t index, const uint64_t* creation, const uint64_t* modified);

  // Marks an element open (kInUse if it is already) / closed again.
  Status AcquireOpen(uint32_t index);
  void ReleaseOpen(uint32_t index);

  // Streams. OpenStream acquires the element; the node releases it.
  Result<std::shared_ptr<StreamNode>> OpenStream(uint32_t index);
  uint64_t StreamSize(StreamNode& node);
  // Reads up to n bytes at pos; *read receives how many (fewer at the end).
  // Bytes between a stream's old end and a write or SetSize beyond it are
  // undefined (zeros, or what freed sectors held), as on Windows.
  Status Read(StreamNode& node, uint64_t pos, void* buf, size_t n, size_t* read);
  Status Write(StreamNode& node, uint64_t pos, const void* buf, size_t n);
  Status SetSize(StreamNode& node, uint64_t size);
  // Runs of consecutive sectors holding the stream (for tests and
  // diagnostics: a stream reserved ahead should be few runs).
  size_t RunCount(StreamNode& node);

  // Writes all changed metadata.
  Status Flush();

 private:
  CompoundFile(std::unique_ptr<File> file, std::u16string path, const Header& header);
  Status Load();
  Status InitNew();
  Status ValidateStreams(std::vector<bool>* visited);
  Status ResizeLocked(StreamNode& node, uint64_t size);
  Status ReadLocked(const Chain& chain, bool mini, uint64_t pos, void* buf, size_t n) const;
  Status WriteLocked(const Chain& chain, bool mini, uint64_t pos, const void* buf, size_t n) const;
  Status LoadChain(uint32_t index, Chain* chain) const;
  Status FreeData(uint32_t index);
  Status DestroyLocked(uint32_t storage, uint32_t index);
  bool IsOpenLocked(uint32_t index) const;
  Status FlushLocked();
  bool IsMini(const DirEntry& e) const { return e.size < kMiniStreamCutoff; }

  mutable std::mutex mu_;
  SectorIo io_;
  std::u16string path_;
  Header header_;
  Fat fat_;
  Directory dir_;
  MiniStream mini_;
  std::unordered_map<uint32_t, int> open_;
  // In a read-only file the chains of ordinary streams, as the validation at
  // open walked them (nothing changes them later), so that opening a large
  // stream does not walk its chain again.
  std::unordered_map<uint32_t, Chain> read_only_chains_;
  bool dirty_ = false;
};

// FILETIME ticks (100 ns since 1601) of now.
uint64_t FileTimeNow();

}  // namespace mlr::storage
