/**
 * @file
 * VIQ for C++20: images that own their handle, lines as spans, errors as exceptions, strips as
 * ranges, contexts as guards. Header only; it uses the functions of viq.h, which work with
 * image::handle() at any point.
 */
#ifndef VIQ_HPP
#define VIQ_HPP

#if __cplusplus < 202002L
#error "viq.hpp needs C++20 (-std=c++20)"
#endif

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "viq.h"

namespace viq {
inline namespace cpp {

// ---- Errors

/** What a function of the library has reported. */
class error : public std::runtime_error {
public:
    error(std::uint32_t code, std::string function, std::string text)
        : std::runtime_error(function + ": " + (text.empty() ? "" : text + " ") + "(" +
                             name_of(code) + ")"),
          code_(code), function_(std::move(function)), text_(std::move(text)) {}

    /** The error code, above 0xFFFF. */
    std::uint32_t code() const { return code_; }
    /** The class of the code, such as "VIQ_ERR_OPEN". */
    const char *name() const { return name_of(code_); }
    /** The function that has reported the failure. */
    const std::string &function() const { return function_; }
    /** Its message, possibly empty. */
    const std::string &text() const { return text_; }

    static const char *name_of(std::uint32_t code) {
        constexpr const char *names[] = {
            "VIQ_ERR_OTHER",   "VIQ_ERR_INTERNAL", "VIQ_ERR_PARAMETER",   "VIQ_ERR_HANDLE",
            "VIQ_ERR_CORRUPT", "VIQ_ERR_MEMORY",   "VIQ_ERR_UNSUPPORTED", "VIQ_ERR_NO_HANDLES",
            "VIQ_ERR_OPEN",    "VIQ_ERR_CLOSE",    "VIQ_ERR_STATE",       "VIQ_ERR_UNEXPECTED",
            "VIQ_ERR_SYSTEM"};
        const std::uint32_t number = (code >> 16) - (VIQ_ERR_OTHER >> 16);
        return number < std::size(names) ? names[number] : "unknown error";
    }

private:
    std::uint32_t code_;
    std::string function_, text_;
};

namespace detail {

/** Records the reports of a call instead of the installed handler, which returns afterwards. */
class report_recorder {
public:
    report_recorder() {
        auto *record = reinterpret_cast<tVIQ_ErrRecord *>(VIQ_ErrProcess(1, "", 0, ""));
        if (record->version == 0)
            VIQ_Init();
        before_ = record->handler;
        outer_ = std::exchange(current(), this);
        VIQ_ErrHandlerInstall(record_report);
    }
    report_recorder(const report_recorder &) = delete;
    report_recorder &operator=(const report_recorder &) = delete;
    ~report_recorder() {
        VIQ_ErrHandlerInstall(before_);
        current() = outer_;
    }

    error make_error(std::uint32_t code) const { return error(code, function_, text_); }

private:
    static report_recorder *&current() {
        thread_local report_recorder *recorder = nullptr;
        return recorder;
    }
    static std::uint32_t VIQ_CALL record_report(std::uint32_t, const char *function, std::uint32_t,
                                                const char *text) try {
        if (current() != nullptr) {
            current()->function_ = function;
            current()->text_ = text;
        }
        return 0;
    } catch (...) { // no memory for the text
        return 0;
    }

    VIQ_ErrHandler before_ = nullptr;
    report_recorder *outer_ = nullptr;
    std::string function_ = "viq", text_;
};

/** An argument as the type of the parameter; numbers must fit it. */
template <class Parameter, class Argument> Parameter fit(Argument argument) {
    if constexpr (std::is_enum_v<Argument>) {
        return fit<Parameter>(static_cast<std::underlying_type_t<Argument>>(argument));
    } else if constexpr (std::is_integral_v<Parameter> && std::is_integral_v<Argument>) {
        if (!std::in_range<Parameter>(argument))
            throw error(VIQ_ERR_PARAMETER, "viq", "Argument out of range");
        return static_cast<Parameter>(argument);
    } else {
        return argument;
    }
}

/** A function of the library without a report. */
template <class... Parameters, class... Arguments>
void call_silently(std::uint32_t(VIQ_CALL *function)(Parameters...), Arguments... arguments) {
    const report_recorder silent;
    function(fit<Parameters>(arguments)...);
}

} // namespace detail

/** Calls a function of the library; throws viq::error if its result is an error code. */
template <class... Parameters, class... Arguments>
std::uint32_t call(std::uint32_t(VIQ_CALL *function)(Parameters...), Arguments... arguments) {
    const detail::report_recorder recorder;
    const std::uint32_t result = function(detail::fit<Parameters>(arguments)...);
    if (VIQ_IS_ERROR(result))
        throw recorder.make_error(result);
    return result;
}

// ---- Images

/** The lines of an image, each a span of its pixels' bytes without the padding. */
class line_range {
public:
    line_range(std::uint8_t *data, std::size_t bytes, std::size_t stride, std::size_t count)
        : data_(data), bytes_(bytes), stride_(stride), count_(count) {}

    class iterator {
    public:
        using value_type = std::span<std::uint8_t>;
        using difference_type = std::ptrdiff_t;
        iterator() = default;
        iterator(const line_range *range, std::size_t number) : range_(range), number_(number) {}
        value_type operator*() const { return (*range_)[number_]; }
        iterator &operator++() {
            ++number_;
            return *this;
        }
        iterator operator++(int) {
            iterator before = *this;
            ++number_;
            return before;
        }
        bool operator==(const iterator &other) const { return number_ == other.number_; }

    private:
        const line_range *range_ = nullptr;
        std::size_t number_ = 0;
    };

    std::size_t size() const { return count_; }
    std::span<std::uint8_t> operator[](std::size_t number) const {
        return {data_ + number * stride_, bytes_};
    }
    iterator begin() const { return {this, 0}; }
    iterator end() const { return {this, count_}; }

private:
    std::uint8_t *data_;
    std::size_t bytes_, stride_, count_;
};

/** A picture, the only owner of its handle. */
class image {
public:
    /** An image without pixels, the target of an operation. */
    image() : handle_(call(VIQ_image_create)) {}
    /** Owns a handle that a function of the library has returned. */
    explicit image(std::uint32_t handle) : handle_(handle) {}
    /** A picture of zeros. */
    image(std::uint16_t format, std::uint32_t width, std::uint32_t height) : image() {
        call(VIQ_image_set_parameter, handle_, VIQ_IMAGE_TYPE, format);
        call(VIQ_image_set_parameter, handle_, VIQ_WIDTH, width);
        call(VIQ_image_set_parameter, handle_, VIQ_HEIGHT, height);
        call(VIQ_image_set_parameter, handle_, VIQ_LINES_PER_STRIP, height);
        call(VIQ_image_malloc_a_strip, handle_);
    }
    image(image &&other) noexcept : handle_(other.release()) {}
    image &operator=(image &&other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~image() {
        if (handle_ != 0)
            VIQ_image_destroy(handle_);
    }

    /** Opens a file; see VIQ_open_as. */
    static image open(const std::string &name, std::uint16_t format = 0) {
        return image(call(VIQ_open_as, name.c_str(), format));
    }
    /** Opens the contents of a file; see VIQ_decode_as. */
    static image decode(std::span<const std::uint8_t> data, std::uint16_t format = 0) {
        return image(call(VIQ_decode_as, data.data(), data.size(), format));
    }

    std::uint32_t handle() const { return handle_; }
    /** Gives the handle up; the caller destroys the image. */
    std::uint32_t release() { return std::exchange(handle_, 0); }

    std::uint32_t width() const { return VIQ_get_width(handle_); }
    /** Lines of the whole picture. */
    std::uint32_t height() const { return VIQ_get_height(handle_); }
    /** Lines in memory, those of the current strip. */
    std::uint32_t lines_in_strip() const { return VIQ_get_lines_this_strip(handle_); }
    std::uint32_t stride() const { return VIQ_get_bytes_per_line(handle_); }
    std::uint16_t format() const {
        return static_cast<std::uint16_t>(VIQ_image_get_parameter(handle_, VIQ_IMAGE_TYPE));
    }

    /** The lines in memory. The spans are valid until the pixels are replaced or freed. */
    line_range lines() const {
        auto *record = static_cast<const tVIQ_Image *>(VIQ_image_get_ptr(handle_, VIQ_PTR_IMAGE));
        if (record == nullptr || record->data == nullptr)
            return {nullptr, 0, 0, 0};
        return {record->data, record->bytes_per_line - record->skip_bytes, record->bytes_per_line,
                record->lines_per_strip};
    }
    std::span<std::uint8_t> line(std::uint32_t number) const { return lines()[number]; }

    /** The picture in another pixel format; see VIQ_convert_as. */
    image to(std::uint16_t format) const { return image(call(VIQ_convert_as, handle_, format)); }
    image copy() const { return to(format()); }

    /** Saves in the file format of the extension; see VIQ_save. */
    void save(const std::string &name, std::uint16_t quality = 0) const {
        call(VIQ_save, handle_, name.c_str(), quality);
    }
    /** The contents of a file, VIQ_FILE_...; see VIQ_encode. */
    std::vector<std::uint8_t> encode(std::uint16_t file_format, std::uint16_t quality = 0) const {
        std::uint8_t *data = nullptr;
        std::uint64_t size = 0;
        call(VIQ_encode, handle_, file_format, quality, &data, &size);
        const std::unique_ptr<std::uint8_t, std::uint32_t(VIQ_CALL *)(void *)> freed(data,
                                                                                     VIQ_DebugFree);
        return {data, data + size};
    }

    /**
     * The result of an operation of the library on the whole picture:
     * `photo.through(VIQ_IP_crop, 10, 10, 200, 100)` calls VIQ_IP_crop with this image, a new one,
     * these arguments and VIQ_STRIP_NEXT.
     */
    template <class Operation, class... Arguments>
    image through(Operation operation, Arguments... arguments) const {
        image result;
        try {
            call(operation, handle_, result.handle_, arguments..., VIQ_STRIP_NEXT);
        } catch (const error &) {
            detail::call_silently(operation, handle_, result.handle_, arguments...,
                                  VIQ_STRIP_FINISH);
            throw;
        }
        return result;
    }

private:
    std::uint32_t handle_;
};

// ---- Strips

/**
 * The strips of a file, one after the other in one image: a range for `for (image &strip :
 * strips)`. It reads BMP, TIFF, TGA and EPS files as VIQ_image_read does, in the reading mode of
 * the context.
 */
class strips {
public:
    strips(const std::string &name, std::uint32_t lines) : lines_(lines) {
        call(VIQ_image_set_infilename, strip_.handle(), name.c_str());
        call(VIQ_image_set_parameter, strip_.handle(), VIQ_HEIGHT, 0);
        read_lines(0); // the header
    }
    strips(const strips &) = delete;
    strips &operator=(const strips &) = delete;
    ~strips() {
        if (done_ < strip_.height())
            detail::call_silently(VIQ_image_read, strip_.handle(), 0, VIQ_STRIP_FINISH);
    }

    std::uint32_t width() const { return strip_.width(); }
    std::uint32_t height() const { return strip_.height(); }

    class iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using value_type = image;
        using difference_type = std::ptrdiff_t;
        iterator() = default;
        explicit iterator(strips *range) : range_(range) { next(); }
        image &operator*() const { return range_->strip_; }
        iterator &operator++() {
            next();
            return *this;
        }
        void operator++(int) { next(); }
        bool operator==(std::default_sentinel_t) const { return range_ == nullptr; }

    private:
        void next() {
            if (!range_->advance())
                range_ = nullptr;
        }
        strips *range_ = nullptr;
    };
    iterator begin() { return iterator(this); }
    std::default_sentinel_t end() const { return {}; }

private:
    void read_lines(std::uint32_t lines) {
        call(VIQ_image_set_parameter, strip_.handle(), VIQ_LINES_PER_STRIP, lines);
        call(VIQ_image_read, strip_.handle(), 0, VIQ_STRIP_NEXT);
    }
    bool advance() {
        if (done_ >= strip_.height())
            return false;
        read_lines(lines_);
        done_ += strip_.lines_in_strip();
        return true;
    }

    image strip_;
    std::uint32_t lines_, done_ = 0;
};

/**
 * An operation on strips: `strip_stage grey(VIQ_convert_to_Y8)`, then `grey(strip)` for each strip
 * gives the strip of the result, which the next call replaces.
 */
template <class Operation, class... Arguments> class strip_stage {
public:
    explicit strip_stage(Operation operation, Arguments... arguments)
        : operation_(operation), arguments_(arguments...) {}
    strip_stage(const strip_stage &) = delete;
    strip_stage &operator=(const strip_stage &) = delete;
    ~strip_stage() {
        if (done_ < height_)
            run([this](auto... all) { detail::call_silently(operation_, all...); },
                VIQ_STRIP_FINISH);
    }

    image &operator()(const image &strip) {
        source_ = strip.handle();
        height_ = strip.height();
        run([this](auto... all) { call(operation_, all...); }, VIQ_STRIP_NEXT);
        done_ += strip.lines_in_strip();
        if (done_ >= height_)
            done_ = height_ = 0; // ready for another picture
        return result_;
    }

private:
    template <class Function> void run(Function function, std::uint16_t command) {
        std::apply(
            [&](auto... arguments) { function(source_, result_.handle(), arguments..., command); },
            arguments_);
    }

    Operation operation_;
    std::tuple<Arguments...> arguments_;
    image result_;
    std::uint32_t source_ = 0, done_ = 0, height_ = 0;
};

/** Writes strips to a file, which is complete after the last line of the picture. */
class strip_file {
public:
    /** file_format: VIQ_FILE_BMP, VIQ_FILE_TIFF, VIQ_FILE_TGA, VIQ_FILE_EPS or VIQ_FILE_RAW. */
    strip_file(std::string name, std::uint16_t file_format)
        : name_(std::move(name)), file_format_(file_format) {}

    void write(const image &strip) const {
        call(VIQ_image_set_outfilename, strip.handle(), name_.c_str());
        call(VIQ_image_write, strip.handle(), 0, file_format_, VIQ_STRIP_NEXT);
    }

private:
    std::string name_;
    std::uint16_t file_format_;
};

// ---- Contexts

/** The calling thread works in a context of its own while the object exists; see viq_context. */
class context {
public:
    context() : before_(VIQ_context_current()), own_(VIQ_context_create()) {
        // A recorder would stay the handler of the contexts on both sides.
        if (VIQ_IS_ERROR(own_))
            throw error(own_, "VIQ_context_create", "");
        VIQ_context_use(own_);
    }
    context(const context &) = delete;
    context &operator=(const context &) = delete;
    ~context() {
        VIQ_context_use(before_);
        VIQ_context_destroy(own_);
    }

private:
    std::uint32_t before_, own_;
};

} // namespace cpp
} // namespace viq

#endif
