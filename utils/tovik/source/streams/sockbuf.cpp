#include "tovik/sockbuf.h"

#include <new>

namespace tovik {

sockbuf::sockbuf(const SendDestination& destination, Buffer* buffer) : destination_(destination) {
  if (buffer != nullptr)
    setp(buffer->curr(), buffer->curr() + buffer->remaining());
  else
    setp(own_.data(), own_.data() + own_.size());
}

sockbuf::~sockbuf() { sockbuf::sync(); }

sockbuf::int_type sockbuf::overflow(int_type character) {
  try {
    outgrown_.append(pbase(), pptr());
    setp(pbase(), epptr());
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    outgrown_.push_back(traits_type::to_char_type(character));
    return character;
  } catch (const std::bad_alloc&) {
    lost_ = true;
    return traits_type::eof();
  }
}

int sockbuf::sync() {
  if (!outgrown_.empty()) overflow(traits_type::eof());
  if (lost_) {
    destination_.fail();
    return -1;
  }
  if (!outgrown_.empty()) {
    destination_.send(outgrown_.data(), outgrown_.size());
    outgrown_.clear();
  } else if (pptr() != pbase()) {
    destination_.send(pbase(), static_cast<unsigned long>(pptr() - pbase()));
    setp(pbase(), epptr());
  }
  return 0;
}

}  // namespace tovik
