// A byte buffer that never moves. Address space for every byte it may ever
// hold is reserved when it is made; memory is committed only as the bytes
// are written. So appending never copies what is already there, and a
// buffer that stays small costs little however large its limit.
//
// Used for documents too large to copy cheaply and whose size is known only
// once they are written: the XML of a set tree.
#ifndef PLATFORM_RESERVED_BUFFER_H_
#define PLATFORM_RESERVED_BUFFER_H_

#include <cstddef>
#include <string_view>

class ReservedBuffer {
 public:
  // Reserves room for up to `limit` bytes (address space only).
  explicit ReservedBuffer(size_t limit);
  ReservedBuffer(const ReservedBuffer&) = delete;
  ReservedBuffer& operator=(const ReservedBuffer&) = delete;
  ~ReservedBuffer();

  // Makes room for `bytes` more after the cursor; false when they would pass
  // the limit or no memory can be committed.
  bool Reserve(size_t bytes) {
    return static_cast<size_t>(committed_end_ - cursor_) >= bytes || Commit(bytes);
  }
  // Where the next byte goes. Only the bytes last reserved may be written.
  char* cursor() { return cursor_; }
  // Marks the bytes up to `cursor` as written.
  void set_cursor(char* cursor) { cursor_ = cursor; }

  std::string_view written() const { return {begin_, static_cast<size_t>(cursor_ - begin_)}; }

  // Returns the memory past the written bytes; nothing more can be written.
  void Seal();

 private:
  bool Commit(size_t bytes);

  char* begin_ = nullptr;
  char* cursor_ = nullptr;
  char* committed_end_ = nullptr;
  size_t reserved_ = 0;
};

#endif  // PLATFORM_RESERVED_BUFFER_H_
