// The file side of the preference store: opening a scope's folder without following links
// inside the store, reading a domain file, and replacing it atomically under a lock.
#pragma once

#include "platform/plist_file.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace velmora::prefs {

// Files larger than this are refused, read or written.
constexpr std::size_t kMaxFileSize = 16u * 1024u * 1024u;
// How long a writer waits for another process's lock before it gives up.
constexpr double kLockTimeoutSeconds = 10.0;

// The folder of one scope: base is chosen by the environment and may be reached through
// symbolic links; components are the store's own folders below it, which never are.
struct Folder {
    std::string base;
    std::vector<std::string> components;
    mode_t folderMode = 0700;
    mode_t fileMode = 0600;

    std::string Path() const;
};

enum class ReadStatus {
    Missing,    // no such file (or folder)
    Ok,         // parsed into the dictionary
    Corrupt,    // not a property list, or its root is not a dictionary
    Unreadable, // exists but cannot be read: permissions, a link, not a regular file, too large
};

// Reads folder/fileName into dict without locking (writers replace files atomically). error
// explains Unreadable.
ReadStatus ReadDomainFile(Folder const& folder, std::string const& fileName,
                          plist::Dictionary& dict, std::string& error);

// Under an exclusive lock on a lock file beside the file: re-reads it, sets a corrupt file
// aside as "<file>.corrupt-<UTC time>-<pid>", applies change, and replaces the file through a
// synced temporary file, or removes it when change leaves the dictionary empty. Creates missing
// folders. On success written holds what was written;
// on failure nothing is changed but a corrupt file set aside, and error says why.
bool UpdateDomainFile(Folder const& folder, std::string const& fileName,
                      std::function<void(plist::Dictionary&)> const& change,
                      plist::Dictionary& written, std::string& error);

// The entry names of the folder (empty when it does not exist or cannot be read).
std::vector<std::string> ListFolder(Folder const& folder);

} // namespace velmora::prefs
