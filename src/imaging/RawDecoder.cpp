#include "imaging/RawDecoder.h"

#include <libraw/libraw.h>

#include <exception>
#include <new>
#include <string>

#include "platform/Log.h"

namespace lumaweave {

namespace {

struct ReleaseMemoryImage {
    void operator()(libraw_processed_image_t* image) const {
        if (image != nullptr) LibRaw::dcraw_clear_mem(image);
    }
};

class RawReader : public WholePictureReader {
  public:
    explicit RawReader(const PictureFile& file)
        : path_(file.path), raw_(std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK)) {
        raw_->set_dataerror_handler(
            [](void* damaged, const char*, int) { *static_cast<bool*>(damaged) = true; },
            &damaged_);
    }

    [[nodiscard]] bool open() {
        setDevelopment();
        if (!succeeds(raw_->open_file(path_.c_str()))) return false;
        const libraw_image_sizes_t& sizes = raw_->imgdata.sizes;
        const bool lies = (sizes.flip & 4) != 0;
        description_.width = lies ? sizes.iheight : sizes.iwidth;
        description_.height = lies ? sizes.iwidth : sizes.iheight;
        description_.format = {3, false, SampleType::uint16};
        return description_.width > 0 && description_.height > 0;
    }

  private:
    void setDevelopment() {
        libraw_output_params_t& how = raw_->imgdata.params;
        how.use_camera_wb = 1;
        how.use_auto_wb = 0;
        how.output_color = 1;  // sRGB
        how.output_bps = 16;
        how.gamm[0] = 1 / 2.4;  // sRGB's tone curve
        how.gamm[1] = 12.92;
        how.no_auto_bright = 1;
        how.bright = 1;
        how.adjust_maximum_thr = 0;  // else the white level would follow the brightest pixel
        how.highlight = 0;           // clipped
        how.user_flip = -1;          // upright, as the camera says
    }

    [[nodiscard]] bool succeeds(int error) const {
        if (error == LIBRAW_SUCCESS) return true;
        Log(path_.native() + ": " + libraw_strerror(error));
        return false;
    }

    [[nodiscard]] Image decode() override {
        if (!succeeds(raw_->unpack()) || !succeeds(raw_->dcraw_process())) return {};
        int error = LIBRAW_SUCCESS;
        const std::shared_ptr<libraw_processed_image_t> developed(
            raw_->dcraw_make_mem_image(&error), ReleaseMemoryImage());
        raw_->recycle();  // the mosaic and what it was developed in take more than the picture
        if (!succeeds(error) || !developed) return {};
        if (damaged_) {
            Log(path_.native() + ": damaged");
            return {};
        }
        if (developed->type != LIBRAW_IMAGE_BITMAP || developed->bits != 16 ||
            (developed->colors != 3 && developed->colors != 1)) {
            Log(path_.native() + ": developed into an unknown form");
            return {};
        }
        PixelData picture;
        picture.width = developed->width;
        picture.height = developed->height;
        picture.format = {developed->colors, false, SampleType::uint16};
        picture.bytes = reinterpret_cast<const std::byte*>(developed->data);
        picture.owner = developed;
        if (picture.byteCount() > developed->data_size) return {};
        return Image(std::make_shared<const PixelData>(std::move(picture)));
    }

    std::filesystem::path path_;
    bool damaged_ = false;
    std::unique_ptr<LibRaw> raw_;  // large: not for the stack
};

}  // namespace

OpenedPicture openRaw(const PictureFile& file) {
    try {
        auto reader = std::make_unique<RawReader>(file);
        return reader->open() ? std::move(reader) : nullptr;
    } catch (const std::exception& error) {
        Log(file.path.native() + ": " + error.what());
        return nullptr;
    }
}

}  // namespace lumaweave
