#include "DescribedError.h"

namespace brindlet {

const char* DescribedError::what() const noexcept
{
    what_ = description().toUtf8();
    return what_.constData();
}

QString describe(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const DescribedError& described) {
        return described.description();
    } catch (const std::exception& other) {
        return QString::fromUtf8(other.what());
    } catch (...) {
        return QStringLiteral("An unknown error occurred.");
    }
}

} // namespace brindlet
