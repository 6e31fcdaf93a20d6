#include "database/access/page_channel.h"

#include <utility>

namespace kelvorin::database::access {

namespace {
constexpr std::size_t kDecodedPages = 1024;  // kept of an encoded file
}

struct Page::Decoded {
  std::vector<std::byte> bytes;
  std::uint32_t pins = 0;
  bool changed = false;
};

Page::Page(Page&& other) noexcept
    : channel_(std::exchange(other.channel_, nullptr)),
      number_(other.number_),
      ref_(std::move(other.ref_)),
      decoded_(std::exchange(other.decoded_, nullptr)) {}

Page& Page::operator=(Page&& other) noexcept {
  if (this != &other) {
    if (decoded_ != nullptr) --decoded_->pins;
    channel_ = std::exchange(other.channel_, nullptr);
    number_ = other.number_;
    ref_ = std::move(other.ref_);
    decoded_ = std::exchange(other.decoded_, nullptr);
  }
  return *this;
}

Page::~Page() {
  if (decoded_ != nullptr) --decoded_->pins;
}

base::ByteSpan Page::bytes() const noexcept {
  return decoded_ != nullptr ? base::ByteSpan(decoded_->bytes) : ref_.bytes();
}

base::MutableByteSpan Page::Change(std::size_t at, std::size_t count) {
  if (decoded_ != nullptr) {
    decoded_->changed = true;
    return decoded_->bytes;
  }
  const base::MutableByteSpan part = ref_.Change(at, count);
  return {part.data() - at, ref_.bytes().size()};
}

Bracket::Bracket(PageChannel& channel) : channel_(channel), bracket_(channel.store().Begin()) {
  ++channel_.changes_;
}

Bracket::~Bracket() {
  if (done_) return;
  channel_.DropChanged();
  ++channel_.undone_;
}

void Bracket::Commit() {
  channel_.WriteDecoded();
  bracket_.Commit();
  done_ = true;
}

PageChannel::PageChannel(std::shared_ptr<storage::Store> store, const Layout& layout,
                         std::uint32_t page_key)
    : store_(std::move(store)), layout_(layout), page_key_(page_key) {}

PageChannel::~PageChannel() = default;

Page PageChannel::PinPlain(std::uint32_t number) {
  Page page(*this, number);
  page.ref_ = store_->Pin(storage::kMainFile, number);
  return page;
}

Page PageChannel::PinDecoded(std::uint32_t number) {
  if (number == 0) return PinPlain(0);  // the header page is never encoded
  auto found = decoded_.find(number);
  if (found == decoded_.end()) {
    if (decoded_.size() >= kDecodedPages)
      std::erase_if(decoded_, [](const auto& entry) {
        return entry.second->pins == 0 && !entry.second->changed;
      });
    const storage::PageRef ref = store_->Pin(storage::kMainFile, number);
    auto made = std::make_unique<Page::Decoded>();
    made->bytes.assign(ref.bytes().begin(), ref.bytes().end());
    Cipher(page_key_ ^ number, made->bytes);
    found = decoded_.emplace(number, std::move(made)).first;
  }
  Page page(*this, number);
  page.decoded_ = found->second.get();
  ++page.decoded_->pins;
  return page;
}

Page PageChannel::Append() {
  if (page_count() >= layout_.max_pages)
    Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
          "'" + path() + "' has reached the " +
              std::to_string(std::uint64_t{layout_.max_pages} * layout_.page_bytes >> 30) +
              " GiB that its format can hold");
  std::uint64_t number = 0;
  storage::PageRef ref = store_->AddPage(storage::kMainFile, number);
  Page page(*this, static_cast<std::uint32_t>(number));
  if (page_key_ == 0) {
    page.ref_ = std::move(ref);
    return page;
  }
  auto made = std::make_unique<Page::Decoded>();
  made->bytes.assign(layout_.page_bytes, std::byte{0});
  made->changed = true;
  made->pins = 1;
  page.decoded_ = made.get();
  decoded_[page.number_] = std::move(made);
  return page;
}

void PageChannel::WriteDecoded() {
  if (page_key_ == 0) return;
  std::vector<std::byte> encoded;
  for (auto& [number, page] : decoded_) {
    if (!page->changed) continue;
    encoded = page->bytes;
    Cipher(page_key_ ^ number, encoded);
    store_->Write(storage::kMainFile, std::uint64_t{number} * layout_.page_bytes, encoded);
  }
  for (auto& [number, page] : decoded_) page->changed = false;
}

void PageChannel::DropChanged() noexcept {
  std::erase_if(left_over_, [](const auto& page) { return page->pins == 0; });
  for (auto at = decoded_.begin(); at != decoded_.end();) {
    if (!at->second->changed) {
      ++at;
      continue;
    }
    if (at->second->pins != 0) left_over_.push_back(std::move(at->second));
    at = decoded_.erase(at);
  }
}

void PageChannel::Corrupt(std::uint32_t page, std::string_view what) const {
  Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
        "'" + path() + "' page " + std::to_string(page) + ": " + std::string(what));
}

void PageChannel::BeyondEnd(std::uint32_t number) const {
  Corrupt(number,
          "lies behind the end of the file, which has " + std::to_string(page_count()) + " pages");
}

void PageChannel::WrongType(const Page& page, std::uint8_t type) const {
  Corrupt(page.number(),
          "is of type " + std::to_string(page.type()) + ", expected " + std::to_string(type));
}

}  // namespace kelvorin::database::access
