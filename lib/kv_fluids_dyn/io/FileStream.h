#pragma once

#include <cstdio>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// The streams checkpoint and proxy files are written and read through. They
// keep one byte order in files on every host: values either move as their
// bytes are (FileStreamRaw, on a little-endian host) or go through the typed
// little-endian functions of kv_fileio (FileStreamEndian, on a big-endian
// host). Neither reports short reads or writes; callers that need to know
// look at the file itself.
//
// The file is opened by the caller and stored in `file`; the stream closes
// it on destruction unless `externalFile` is set.
class KV_EXPORT FileStreamBase {
public:
    FileStreamBase() = default;
    FileStreamBase(const FileStreamBase&) = delete;
    FileStreamBase& operator=(const FileStreamBase&) = delete;
    virtual ~FileStreamBase();

    virtual FileStreamBase& read(void* buffer, unsigned int size) = 0;
    virtual FileStreamBase& write(const void* buffer, unsigned int size) = 0;

    std::FILE* file = nullptr;
    bool externalFile = false;
};

// Moves bytes as they are.
class KV_EXPORT FileStreamRaw : public FileStreamBase {
public:
    FileStreamBase& read(void* buffer, unsigned int size) override;
    FileStreamBase& write(const void* buffer, unsigned int size) override;
};

// Values reach the file only through the typed kv_fileio functions; its
// byte-buffer operations do nothing, on purpose.
class KV_EXPORT FileStreamEndian : public FileStreamBase {
public:
    FileStreamBase& read(void* buffer, unsigned int size) override;
    FileStreamBase& write(const void* buffer, unsigned int size) override;
};

// The stream the public checkpoint and proxy operations use: a raw stream
// on a little-endian host, an endian one on a big-endian host, chosen when
// it is made.
class KV_EXPORT FileStream {
public:
    FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;
    // Closes the inner stream's file (unless it is external) and frees it.
    virtual ~FileStream();

    virtual FileStream& read(void* buffer, unsigned int size);
    virtual FileStream& write(const void* buffer, unsigned int size);

    FileStreamBase* inner;
    bool useTypedIO;
};

}  // namespace kelvar::fluid
