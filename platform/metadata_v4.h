// Where a media file's metadata lives and how it is read and written: named text values, kept in a
// directory beside the file (docs/platform.md). Operations that fail return negative and set errno.
#pragma once

#include <cstddef>

// Which media file the metadata is of.
struct metadata_v4_context;
// The metadata's entries, in the order in which they were first written.
struct metadata_v4_metadata_context;

// Each create gives an empty one, null when there is no memory; the caller owns it. Each destroy
// accepts null and returns null.
metadata_v4_context* metadata_v4_context_create();
metadata_v4_context* metadata_v4_context_destroy(metadata_v4_context* context);
metadata_v4_metadata_context* metadata_v4_metadata_context_create();
metadata_v4_metadata_context*
metadata_v4_metadata_context_destroy(metadata_v4_metadata_context* entries);

// Points the context at a media file, which need not exist. 0, or negative as of
// metadata_v4_file_to_metadir; the context is then as it was.
int metadata_v4_context_set_file_location(metadata_v4_context* context, const char* path);

// Replaces all entries by those in the file `name` of the metadata directory; null means
// "metadata". 0, or negative, the entries as they were: ENOENT when there is no such file or
// directory; EINVAL for a file over 1 MiB, one with a line that is no entry, one that is not a
// regular file, a `name` that is not a bare file name, or a context without location. Symbolic
// links are not followed.
int metadata_v4_metadata_context_load_metadata_from_file(metadata_v4_metadata_context* entries,
                                                         const metadata_v4_context* context,
                                                         const char* name = nullptr);

// Writes all entries to the file `name`, whole: readers see the old file or the new one. Makes the
// metadata directory when it is missing, but no directory above it. 0, or negative: EINVAL as
// above, EFBIG when the file would be over 1 MiB and so could not be read again.
int metadata_v4_metadata_context_write_metadata_to_file(const metadata_v4_metadata_context* entries,
                                                        const metadata_v4_context* context,
                                                        const char* name = nullptr);

// The value of an entry, null when there is none. Good until the entries are next written, loaded
// or destroyed.
const char* metadata_v4_metadata_context_read_entry(const metadata_v4_metadata_context* entries,
                                                    const char* name);

// Sets an entry; one of that name keeps its place. 0, or negative with EINVAL for a name that is
// empty or holds "=" or a line end.
int metadata_v4_metadata_context_write_entry(metadata_v4_metadata_context* entries,
                                             const char* name, const char* value);

// Writes the metadata directory of the media file `path` into `buffer` of `size` bytes. Returns its
// length without the NUL, or negative: EINVAL for a relative path or one without a last name,
// ENAMETOOLONG for a last name of more than 245 bytes, ERANGE for a buffer that is too small.
int metadata_v4_file_to_metadir(const char* path, char* buffer, std::size_t size);

// Whether a metadata directory's name stands anywhere in the path.
bool metadata_v4_context_is_metadata_name(const char* path);
