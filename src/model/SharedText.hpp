// An optional text whose copies share one immutable string. Clips name their source files with
// it, so copying a long document (each undo step, each save) copies no text and allocates
// nothing per clip. Reads like std::optional<std::string>; the text itself never changes, a new
// one is assigned instead.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace tw {

class SharedText {
public:
    SharedText() = default;
    SharedText(std::nullopt_t) {}
    SharedText(std::string text) : text_(std::make_shared<const std::string>(std::move(text))) {}
    SharedText(const char* text) : SharedText(std::string(text)) {}
    SharedText(const std::optional<std::string>& text)
    {
        if (text)
            text_ = std::make_shared<const std::string>(*text);
    }

    explicit operator bool() const { return text_ != nullptr; }
    bool has_value() const { return text_ != nullptr; }
    // Only with a value.
    const std::string& operator*() const { return *text_; }
    const std::string* operator->() const { return text_.get(); }
    std::string value_or(const std::string& fallback) const { return text_ ? *text_ : fallback; }
    void reset() { text_.reset(); }

    // For what takes a plain optional text (a copy of the text).
    operator std::optional<std::string>() const
    {
        return text_ ? std::optional<std::string>(*text_) : std::nullopt;
    }

    friend bool operator==(const SharedText& a, const SharedText& b)
    {
        if (a.text_ == b.text_)
            return true;
        return a.text_ && b.text_ && *a.text_ == *b.text_;
    }
    friend bool operator==(const SharedText& a, const std::optional<std::string>& b)
    {
        return a.text_ ? b && *a.text_ == *b : !b;
    }
    friend bool operator==(const SharedText& a, const std::string& b)
    {
        return a.text_ && *a.text_ == b;
    }
    friend bool operator==(const SharedText& a, const char* b) { return a.text_ && *a.text_ == b; }
    friend bool operator==(const SharedText& a, std::nullopt_t) { return !a.text_; }

private:
    std::shared_ptr<const std::string> text_;
};

} // namespace tw
