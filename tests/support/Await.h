#pragma once

#include <QCoroTask>

#include <exception>
#include <optional>

namespace tw::test {

// Runs a task to its end in a nested event loop and returns its value or rethrows its exception.
// QCoro 0.8's waitFor() never returns when the task throws, so tests must not use it for those.
template<typename T>
T await(QCoro::Task<T> &&task)
{
    std::exception_ptr error;
    if constexpr (std::is_void_v<T>) {
        QCoro::waitFor([](QCoro::Task<T> inner, std::exception_ptr &caught) -> QCoro::Task<> {
            try {
                co_await inner;
            } catch (...) {
                caught = std::current_exception();
            }
        }(std::move(task), error));
        if (error)
            std::rethrow_exception(error);
    } else {
        std::optional<T> result =
            QCoro::waitFor([](QCoro::Task<T> inner, std::exception_ptr &caught) -> QCoro::Task<std::optional<T>> {
                try {
                    co_return co_await inner;
                } catch (...) {
                    caught = std::current_exception();
                }
                co_return std::nullopt;
            }(std::move(task), error));
        if (error)
            std::rethrow_exception(error);
        return std::move(*result);
    }
}

} // namespace tw::test
