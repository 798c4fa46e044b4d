#include "kv_fluids_dyn/io/FileStream.h"

#include "kv_basic/Hardware.h"
#include "kv_fileio/FileIO.h"

namespace kelvar::fluid {

FileStreamBase::~FileStreamBase() {
    if (file != nullptr && !externalFile) std::fclose(file);
    file = nullptr;
}

FileStreamBase& FileStreamRaw::read(void* buffer, unsigned int size) {
    ReadBuffer(buffer, 1, size, file);
    return *this;
}

FileStreamBase& FileStreamRaw::write(const void* buffer, unsigned int size) {
    WriteBuffer(buffer, 1, size, file);
    return *this;
}

FileStreamBase& FileStreamEndian::read(void*, unsigned int) { return *this; }

FileStreamBase& FileStreamEndian::write(const void*, unsigned int) { return *this; }

FileStream::FileStream()
    : inner(Hardware::isBigEndian() ? static_cast<FileStreamBase*>(new FileStreamEndian())
                                    : static_cast<FileStreamBase*>(new FileStreamRaw())),
      useTypedIO(Hardware::isBigEndian()) {}

FileStream::~FileStream() { delete inner; }

FileStream& FileStream::read(void* buffer, unsigned int size) {
    inner->read(buffer, size);
    return *this;
}

FileStream& FileStream::write(const void* buffer, unsigned int size) {
    inner->write(buffer, size);
    return *this;
}

}  // namespace kelvar::fluid
