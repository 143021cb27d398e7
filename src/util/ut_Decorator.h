// The hook by which a put stream's output is decorated.
#pragma once

namespace utility {

class PutStream;

/// Chooses how output is decorated. Plain output is all that the streams know so far.
class Decorator {
 public:
  enum DecorationType { plain };

  virtual ~Decorator() = default;

  virtual void setDecoration(DecorationType type) = 0;

  /// As above, with the stream that receives the decoration, which stays the caller's and outlives
  /// this one; null means this stream.
  virtual void setDecoration(DecorationType type, PutStream* stream) = 0;
};

}  // namespace utility
