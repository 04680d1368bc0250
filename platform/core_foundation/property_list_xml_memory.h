// Memory for the nodes of one XML document: taken in growing blocks, in large pages when there are
// many, and given back all at once.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace orvik {

class XmlNodeMemory {
 public:
  // Gives out no more than the limit, in bytes.
  explicit XmlNodeMemory(size_t limit) : limit_(limit) {}

  // While it lives, pugixml's documents of this thread take their memory there and give it back
  // there. A document must be built and destroyed within such a scope.
  class Scope {
   public:
    explicit Scope(XmlNodeMemory& memory);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    XmlNodeMemory* outer_;
  };

  // Null beyond the limit.
  void* Take(size_t size);
  bool Holds(const void* address) const;

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    size_t size;
  };

  size_t limit_;
  size_t given_ = 0;
  std::vector<Block> blocks_;
  size_t used_ = 0;  // of the last block
};

}  // namespace orvik
