// Memory for the nodes of one XML document: taken in growing blocks, in large pages when there are
// many, and given back all at once.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace orvik {

class XmlNodeMemory {
 public:
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

  void* Take(size_t size);
  bool Holds(const void* address) const;

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    size_t size;
  };

  std::vector<Block> blocks_;
  size_t used_ = 0;  // of the last block
};

}  // namespace orvik
