#pragma once

#include <stdexcept>

namespace tw {

// Thrown by a wait whose stop token fired. A poll that ends in it records nothing.
class Cancelled : public std::runtime_error
{
public:
    Cancelled()
        : std::runtime_error("cancelled")
    { }
};

} // namespace tw
