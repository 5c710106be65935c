#include "Accent.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace tw::Accent {

namespace {

std::array<double, 3> channels(const QString &text)
{
    if (const auto parsed = parseHex(text))
        return *parsed;
    if (const auto fallback = parseHex(QString::fromLatin1(defaultHex)))
        return *fallback;
    return {1, 1, 1};
}

} // namespace

QStringList presets()
{
    return {u"#8BB8E8"_s,
            u"#14B8A6"_s,
            u"#A78BFA"_s,
            u"#EC4899"_s,
            u"#F59E0B"_s,
            u"#10B981"_s,
            u"#EF4444"_s,
            u"#FFFFFF"_s};
}

std::optional<std::array<double, 3>> parseHex(const QString &text)
{
    QString digits = text.trimmed();
    if (digits.startsWith(u'#'))
        digits.remove(0, 1);
    if (digits.size() != 6)
        return std::nullopt;
    // Like the usual unsigned parse, a leading plus sign is taken; nothing else that is not a digit.
    QStringView number(digits);
    if (number.startsWith(u'+'))
        number = number.sliced(1);
    if (number.isEmpty())
        return std::nullopt;
    for (const QChar c : number) {
        if (!std::isxdigit(static_cast<unsigned char>(c.toLatin1())) || c.unicode() > 0x7f)
            return std::nullopt;
    }
    bool ok = false;
    const uint value = number.toUInt(&ok, 16);
    if (!ok)
        return std::nullopt;
    return std::array<double, 3>{((value >> 16) & 0xff) / 255.0, ((value >> 8) & 0xff) / 255.0, (value & 0xff) / 255.0};
}

QColor accentColour(const QString &text)
{
    const auto [r, g, b] = channels(text);
    return QColor::fromRgbF(float(r), float(g), float(b));
}

double relativeLuminance(double red, double green, double blue)
{
    const auto linear = [](double c) {
        return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(red) + 0.7152 * linear(green) + 0.0722 * linear(blue);
}

QColor onAccentColour(const QString &text)
{
    const auto [r, g, b] = channels(text);
    const double l = relativeLuminance(r, g, b) + 0.05;
    const double withWhite = 1.05 / l;
    const double withDark = l / 0.0617; // 0.05 plus the luminance of the near-black text
    if (withWhite <= withDark)
        return QColor::fromRgbF(float(28 / 255.0), float(28 / 255.0), float(30 / 255.0));
    return QColor::fromRgbF(1, 1, 1);
}

} // namespace tw::Accent
