// SPDX-License-Identifier: GPL-3.0-or-later
#include <libraw/libraw.h>

#include <exception>
#include <string>

#include "imaging/formats/Formats.h"
#include "imaging/formats/IsoMedia.h"
#include "imaging/formats/OpenedPicture.h"
#include "imaging/formats/RawTiff.h"

// Cameras' raw files, developed the same for every shot of a bracket: the camera's white balance,
// sRGB with its tone curve, 16 bit. Nothing depends on how bright the shot is: no automatic
// brightening, a white level that is the camera's and not the brightest pixel's, and highlights
// that are clipped and not rescued. Upright. Takes memory for the whole picture: 16 bytes a pixel.
// Where the library does not know the camera, the small picture that such a file carries is never
// taken for it.

namespace lumaweave {

namespace {

struct ReleaseMemoryImage {
    void operator()(libraw_processed_image_t* image) const {
        if (image != nullptr) LibRaw::dcraw_clear_mem(image);
    }
};

class RawPicture : public WholePicture {
  public:
    explicit RawPicture(const PictureFile& file)
        : path_(file.path), raw_(std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK)) {
        raw_->set_dataerror_handler(
            [](void* damaged, const char*, int) { *static_cast<bool*>(damaged) = true; },
            &damaged_);
    }

    Outcome open() {
        setDevelopment();
        if (Outcome opened = outcomeOf(raw_->open_file(path_.c_str())); !opened) return opened;
        const libraw_image_sizes_t& sizes = raw_->imgdata.sizes;
        const bool lies = (sizes.flip & 4) != 0;
        description_.width = lies ? sizes.iheight : sizes.iwidth;
        description_.height = lies ? sizes.iwidth : sizes.iheight;
        description_.format = {3, false, SampleType::uint16};
        if (description_.width > 0 && description_.height > 0) return {};
        return Failure{"it has no pixels"};
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

    [[nodiscard]] Outcome outcomeOf(int error) const {
        if (error == LIBRAW_SUCCESS) return {};
        return refused(path_, libraw_strerror(error));
    }

    Result<Image> decode() override {
        Outcome developing = outcomeOf(raw_->unpack());
        if (developing) developing = outcomeOf(raw_->dcraw_process());
        if (!developing) return developing.failure();
        int error = LIBRAW_SUCCESS;
        const std::shared_ptr<libraw_processed_image_t> developed(
            raw_->dcraw_make_mem_image(&error), ReleaseMemoryImage());
        raw_->recycle();  // the mosaic and what it was developed in take more than the picture
        if (Outcome made = outcomeOf(error); !made) return made.failure();
        if (!developed) return Failure{"it cannot be developed"};
        if (damaged_) return refused(path_, "damaged");
        return pictureOf(developed);
    }

    Result<Image> pictureOf(const std::shared_ptr<libraw_processed_image_t>& developed) const {
        if (developed->type != LIBRAW_IMAGE_BITMAP || developed->bits != 16 ||
            (developed->colors != 3 && developed->colors != 1)) {
            return refused(path_, "developed into an unknown form");
        }
        PixelData picture;
        picture.width = developed->width;
        picture.height = developed->height;
        picture.format = {developed->colors, false, SampleType::uint16};
        picture.bytes = reinterpret_cast<const std::byte*>(developed->data);
        picture.owner = developed;
        if (picture.byteCount() > developed->data_size) return Failure{"developed only in part"};
        return Image(std::make_shared<const PixelData>(std::move(picture)));
    }

    std::filesystem::path path_;
    bool damaged_ = false;
    std::unique_ptr<LibRaw> raw_;  // large: not for the stack
};

OpenResult openRaw(const PictureFile& file) {
    try {
        auto picture = std::make_unique<RawPicture>(file);
        if (Outcome opened = picture->open(); !opened) return opened.failure();
        return picture;
    } catch (const std::exception& error) {
        return refused(file.path, error.what());
    }
}

using namespace std::string_view_literals;

// Built as a TIFF, or with heads of their own.
bool isRaw(std::string_view head, const ReadBytes& read) {
    if (tiffFormat.recognises(head, read)) return hasAt(head, 8, "CR\2"sv) || isRawTiff(read);
    for (const auto raw : {"IIRO"sv, "IIRS"sv, "MMOR"sv, "IIU\0"sv, "FUJIFILMCCD-RAW"sv}) {
        if (hasAt(head, 0, raw)) return true;
    }
    return isoMediaOf(head) == IsoMedia::raw;
}

constexpr std::string_view endings[] = {"cr2", "cr3", "nef", "arw", "raf",
                                        "orf", "rw2", "pef", "dng"};

}  // namespace

constinit const PhotoFormat rawFormat = {
    .name = "raw", .endings = endings, .recognises = isRaw, .open = openRaw};

}  // namespace lumaweave
