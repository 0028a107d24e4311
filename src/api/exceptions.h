// What an export returns, and the library's exceptions, which carry it. None of them leaves the library.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

// The public header gives callers the same four values.
namespace kelvo::Api {

inline constexpr int kStatusOk = 0;
inline constexpr int kStatusBadArgument = -1;
inline constexpr int kStatusOutOfMemory = -5;
inline constexpr int kStatusUnexpectedError = -128;

}  // namespace kelvo::Api

namespace kelvo::Util::Exceptions {

// Root of the library's own exceptions. Not a std::exception, so that a class may derive from both without ambiguity.
class KelvoException {
 public:
  KelvoException(std::string message, int status);
  KelvoException(const KelvoException&) = default;
  KelvoException& operator=(const KelvoException&) = default;
  virtual ~KelvoException() = default;

  virtual int GetStatus() const;
  // The message, after "Layer:TYPE(NAME) Error:" once a layer name is set. Valid until the next call or destruction.
  virtual const char* GetErrorMessage() const;
  virtual const char* GetDetail() const;
  virtual const std::string& GetLayerName() const;
  // Only the first call has an effect: the innermost layer is nearest to the error.
  virtual void SetLayerName(const std::string& type, const std::string& name);

 private:
  std::string layer_name_;
  std::string message_;
  std::int32_t status_;
  mutable std::string formatted_message_;
};

class KelvoInvalidArgumentExceptionBase : public std::invalid_argument, public KelvoException {
 public:
  explicit KelvoInvalidArgumentExceptionBase(const std::string& message);
  const char* what() const noexcept override;
};

// The one exception that the library throws itself; its status is always KELVO_AUDIO_STATUS_BAD_ARGUMENT.
class KelvoInvalidArgument : public KelvoInvalidArgumentExceptionBase {
 public:
  explicit KelvoInvalidArgument(const char* message);
};

}  // namespace kelvo::Util::Exceptions
