// The texts and statuses of the library's exceptions.
#include "api/exceptions.h"

#include <utility>

namespace kelvo::Util::Exceptions {

KelvoException::KelvoException(std::string message, int status) : message_(std::move(message)), status_(status) {}

int KelvoException::GetStatus() const { return status_; }

const char* KelvoException::GetErrorMessage() const {
  if (layer_name_.empty()) return message_.c_str();
  formatted_message_ = "Layer:" + layer_name_ + " Error:" + message_;
  return formatted_message_.c_str();
}

const char* KelvoException::GetDetail() const { return ""; }

const std::string& KelvoException::GetLayerName() const { return layer_name_; }

void KelvoException::SetLayerName(const std::string& type, const std::string& name) {
  if (layer_name_.empty()) layer_name_ = type + "(" + name + ")";
}

KelvoInvalidArgumentExceptionBase::KelvoInvalidArgumentExceptionBase(const std::string& message)
    : std::invalid_argument(message), KelvoException(message, Api::kStatusBadArgument) {}

const char* KelvoInvalidArgumentExceptionBase::what() const noexcept { return GetErrorMessage(); }

KelvoInvalidArgument::KelvoInvalidArgument(const char* message) : KelvoInvalidArgumentExceptionBase(message) {}

}  // namespace kelvo::Util::Exceptions
