#pragma once

// A format of the program as this platform's printf wants it. Most formats need no change and cost nothing.

#include <string>

namespace kestrel {

class printf_format_t {
  public:
    // The format must live as long as this object.
    explicit printf_format_t(const char *format);

    const char *c_str() const { return unchanged_ ? unchanged_ : translated_.c_str(); }

  private:
    const char *unchanged_;
    std::string translated_;
};

} // namespace kestrel
