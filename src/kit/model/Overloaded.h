#pragma once

namespace tw {

// A visitor made of lambdas, one per alternative of a std::variant.
template<class... Ts>
struct Overloaded : Ts...
{
    using Ts::operator()...;
};
template<class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>; // clang 14, used for fuzzing, lacks aggregate deduction

} // namespace tw
