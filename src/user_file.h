#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The user's own small files: read whole, written whole or not at all.

/// All bytes of a regular file; none when there is none, or it can't be read. Never waits: a pipe or a device
/// in the file's place counts as unreadable, as does a file beyond 64 MiB.
std::optional<std::string> readRegularFile(const std::string& path);

/// The same for a file that replaceUserFile() writes: none, too, behind a link of another user.
std::optional<std::string> readUserFile(const std::string& path);

/// Whether this is a directory, and no link to one, that belongs to this user and that nobody else may write
/// to.
bool isPrivateDirectory(const std::string& path);

/// Moves a file that readUserFile() could not read, but replaceUserFile() would replace, to the same name
/// with ".unread" behind it: what it holds may be all that the user has. Returns whether its place is free
/// now.
bool keepUnreadFile(const std::string& path);

/// Puts `content` in the place of a file, in a directory that exists. However the program ends meanwhile,
/// killed or with the disk full, the file holds either its old content or the new one, whole.
///
/// A symbolic link stays one and its target, which need not exist, is written; one that is neither this
/// user's nor root's is not followed. The mode is kept, and the owner if the system permits; a new file gets
/// the usual mode. A file that may not be written, or is no regular one, stays as it is.
///
/// Where the directory takes no new file, or the file is a mount of its own, this user's own file is written
/// in place: a full disk leaves its old content, but a kill may cut it short. For one writing process at a
/// time. Returns whether the new content is in place.
bool replaceUserFile(const std::string& path, std::string_view content);
