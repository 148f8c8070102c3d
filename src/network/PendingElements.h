#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace trovix {

class TXSDKOperation;

/// Elements in line, oldest first. The first is taken and put back without moving the others, and all of them can be
/// handed out as one vector.
class PendingElements {
 public:
  using Element = std::shared_ptr<TXSDKOperation>;

  [[nodiscard]] std::size_t size() const noexcept { return elements_.size() - taken_; }
  /// Only while there is one, like `takeFirst`.
  [[nodiscard]] const Element& first() const noexcept { return elements_[taken_]; }
  void append(Element element) { elements_.push_back(std::move(element)); }
  [[nodiscard]] Element takeFirst();
  void putFirst(Element element);

  [[nodiscard]] std::vector<Element> copy() const;
  /// Leaves nothing here.
  [[nodiscard]] std::vector<Element> handOut();
  void takeBack(std::vector<Element> elements) noexcept { elements_ = std::move(elements); }

 private:
  void closeGap();

  std::vector<Element> elements_;
  std::size_t taken_ = 0;  // empty places at the front of elements_
};

}  // namespace trovix
