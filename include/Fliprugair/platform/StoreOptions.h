#pragma once

namespace fliprugair {

/// What a synchronized write survives.
enum class StoreDurability {
  process,   ///< the end of the process at any instant; a power cut can cost the newest writes, never the file
  powerCut,  ///< a power cut too: every synchronization waits for the disk
};

/// What happens when a store may be there and cannot be read when it is opened: no rights, no descriptors, no memory,
/// an error of the disk, a folder that is not there.
enum class UnreadableStore {
  isRefused,  ///< it is not opened, with a text that says why; to be tried again later
  isJoined,   ///< the application goes on from memory; once the store can be read its identity holds, and what was
              ///< recorded meanwhile is added to it
};

/// How a store is opened.
struct StoreOptions {
  StoreDurability durability = StoreDurability::process;
  UnreadableStore unreadable = UnreadableStore::isRefused;
};

}  // namespace fliprugair
