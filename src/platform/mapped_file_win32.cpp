#include "platform/mapped_file.h"

// Windows reports a mapped page that cannot be read as an in-page error
// exception, which would need structured exception handling around every
// use of the bytes; files are read there, not mapped.
namespace platform {

std::unique_ptr<MappedFile> MappedFile::open(const std::string&) { return nullptr; }

MappedFile::~MappedFile() = default;

std::int64_t MappedFile::missingFrom() const { return -1; }

void MappedFile::doneBefore(std::int64_t) {}

}  // namespace platform
