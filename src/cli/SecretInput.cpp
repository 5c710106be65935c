#include "SecretInput.h"

#include <QStringDecoder>

#include <csignal>
#include <iostream>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace tw::SecretInput {

namespace {

// The terminal's settings while echo is off, so that a signal that ends the program gives the
// terminal back as it was rather than leaving the shell blind.
termios savedTerminal{};
volatile std::sig_atomic_t echoOff = 0;

extern "C" void restoreAndRaise(int number)
{
    if (echoOff)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
    std::signal(number, SIG_DFL);
    std::raise(number);
}

class QuietTerminal
{
public:
    QuietTerminal()
    {
        if (::tcgetattr(STDIN_FILENO, &savedTerminal) != 0)
            return;
        termios quiet = savedTerminal;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        quiet.c_lflag |= ICANON;
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            m_previous[m_count++] = {number, std::signal(number, restoreAndRaise)};
        echoOff = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    ~QuietTerminal()
    {
        if (echoOff)
            ::tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
        echoOff = 0;
        for (int i = 0; i < m_count; ++i)
            std::signal(m_previous[i].first, m_previous[i].second);
    }
    QuietTerminal(const QuietTerminal &) = delete;
    QuietTerminal &operator=(const QuietTerminal &) = delete;

private:
    std::pair<int, void (*)(int)> m_previous[4];
    int m_count = 0;
};

} // namespace

std::optional<QString> readLine(QTextStream &err)
{
    std::string line;
    bool read = false;
    if (::isatty(STDIN_FILENO)) {
        // Echo goes off before the prompt shows, so nothing typed after the prompt is ever echoed.
        const QuietTerminal quiet;
        err << "Secret: " << Qt::flush;
        read = bool(std::getline(std::cin, line));
        // The Return that ended the line was not echoed either.
        err << '\n' << Qt::flush;
    } else {
        read = bool(std::getline(std::cin, line));
    }
    if (!read && line.empty())
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(QByteArrayView(line.data(), qsizetype(line.size())));
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace tw::SecretInput
