// Where a media file's metadata lives and how it is read and written: named text values, kept in a
// directory beside the file (docs/platform.md). Operations that fail return negative and set errno.
#pragma once

#include <cstddef>
#include <string>

// Identifies the media file that the metadata belongs to.
struct metadata_v4_context;
// The metadata's entries, in the order in which they were first written.
struct metadata_v4_metadata_context;

// The create functions return an empty object, or null if out of memory; the caller owns it. The
// destroy functions accept null and return null.
metadata_v4_context* metadata_v4_context_create();
metadata_v4_context* metadata_v4_context_destroy(metadata_v4_context* context);
metadata_v4_metadata_context* metadata_v4_metadata_context_create();
metadata_v4_metadata_context*
metadata_v4_metadata_context_destroy(metadata_v4_metadata_context* entries);

// Points the context at a media file, which need not exist. Returns 0, or negative as for
// metadata_v4_file_to_metadir; the context is then unchanged.
int metadata_v4_context_set_file_location(metadata_v4_context* context, const char* path);

// Replaces all entries with those in the file `name` in the metadata directory; null means
// "metadata". Returns 0, or negative with the entries unchanged: ENOENT if the file or its
// directory does not exist; EINVAL if the file is larger than 1 MiB, has a line that is not a valid
// entry or is not a regular file, if `name` contains a directory, or if the context has no
// location. Symbolic links are not followed.
int metadata_v4_metadata_context_load_metadata_from_file(metadata_v4_metadata_context* entries,
                                                         const metadata_v4_context* context,
                                                         const char* name = nullptr);

// Writes all entries to the file `name` atomically: readers see either the old file or the new one.
// Makes the metadata directory if it is missing, but no directory above it. Returns 0, or negative:
// EINVAL as above, EFBIG if the file would be larger than 1 MiB and so could not be read again.
int metadata_v4_metadata_context_write_metadata_to_file(const metadata_v4_metadata_context* entries,
                                                        const metadata_v4_context* context,
                                                        const char* name = nullptr);

// Returns the value of an entry, or null if there is none. Valid until the entries are next
// written, loaded or destroyed.
const char* metadata_v4_metadata_context_read_entry(const metadata_v4_metadata_context* entries,
                                                    const char* name);

// Sets an entry; an existing one keeps its position. Returns 0, or negative with EINVAL for a name
// that is empty or contains "=" or a line end.
int metadata_v4_metadata_context_write_entry(metadata_v4_metadata_context* entries,
                                             const char* name, const char* value);

// Writes the metadata directory of the media file `path` into `buffer` of `size` bytes. Returns its
// length without the NUL, or negative: EINVAL for a path that is relative or has no final
// component, ENAMETOOLONG for a final component of more than 245 bytes, ERANGE for a buffer that is
// too small.
int metadata_v4_file_to_metadir(const char* path, char* buffer, std::size_t size);

// The entries in the text form of a metadata file, for handing them to another process.
std::string metadata_v4_metadata_context_to_text(const metadata_v4_metadata_context* entries);
// Replaces the entries by those in such a text. On failure they stay as they are.
int metadata_v4_metadata_context_from_text(metadata_v4_metadata_context* entries,
                                           const std::string& text);

// Whether any component of the path is the name of a metadata directory.
bool metadata_v4_context_is_metadata_name(const char* path);
