#include "network/PendingElements.h"

namespace trovix {

PendingElements::Element PendingElements::takeFirst() {
  Element element = std::move(elements_[taken_++]);
  // Closing the gap only once it is the larger half keeps the cost of a taken element constant.
  if (taken_ * 2 > elements_.size()) closeGap();
  return element;
}

void PendingElements::putFirst(Element element) {
  if (taken_ > 0) {
    elements_[--taken_] = std::move(element);
  } else {
    elements_.insert(elements_.begin(), std::move(element));
  }
}

std::vector<PendingElements::Element> PendingElements::copy() const {
  return {elements_.begin() + static_cast<std::ptrdiff_t>(taken_), elements_.end()};
}

std::vector<PendingElements::Element> PendingElements::handOut() {
  closeGap();
  return std::exchange(elements_, {});
}

void PendingElements::closeGap() {
  elements_.erase(elements_.begin(), elements_.begin() + static_cast<std::ptrdiff_t>(taken_));
  taken_ = 0;
}

}  // namespace trovix
