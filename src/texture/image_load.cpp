// The driver steps that sit on the image readers: finding a texture's source
// file with its header, and loading the image for an encoder with the alpha
// classification and the automatic pixel format.
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "texture/image_read.h"

namespace {

struct Probe {
  PVR_SourceType type;
  const char *tag;
};
// Header readers tried, in this order, for a source without a suffix.
constexpr Probe kProbes[] = {
    {kSourceBMP, "[BMP]"}, {kSourcePIC, "[PIC]"}, {kSourceTGA, "[TGA]"}, {kSourcePIX, "[PIX]"}};

constexpr const char *kPixelFormatNames[] = {"ARGB1555", "RGB565", "ARGB4444", "YUV422", "BUMP", "RGB555"};

// The "Error : Can't read file" line and, when known, the reason under it.
void ReportUnreadable(const std::string &name, const std::string &why) {
  PrintError("Error : Can't read file %s\n", name.c_str());
  if (!why.empty()) PrintNote("%s\n", why.c_str());
}

}  // namespace

int PVR_FindSource(PVR_Settings *settings) {
  std::string found;
  if (FILE *file = PVR_OpenSource(settings->inputName.c_str(), &found)) {
    std::fclose(file);
    settings->inputName = found;
  }
  const char *input = settings->inputName.c_str();
  std::string suffix = PVR_Suffix(input);
  PVR_TexInfo header = settings->info;
  if (!suffix.empty()) {
    PVR_SourceType type = PVR_SourceTypeOfSuffix(suffix);
    if (type == kSourceNone) {
      PrintError("Error : Can't convert filetype \"%s\"\n", suffix.c_str());
      return 0;
    }
    std::string why;
    if (!PVR_ReadHeader(type, input, &header, &why)) {
      if (!why.empty()) ReportUnreadable(settings->inputName, why);
      return 0;
    }
  } else {
    bool recognised = false;
    for (const Probe &probe : kProbes) {
      PVR_TexInfo candidate = header;
      if (PVR_ReadHeader(probe.type, input, &candidate) && PVR_IsSide(candidate.width) &&
          PVR_IsSide(candidate.height)) {
        PrintInfo("%s", probe.tag);
        header = candidate;
        recognised = true;
        break;
      }
    }
    if (!recognised) {
      PrintError("Error : You must set suffix to filename\n");
      return 0;
    }
  }
  settings->info = header;
  return 1;
}

void PVR_DeriveOutputName(PVR_Settings *settings) {
  if (!settings->outputName.empty()) return;
  std::string name = PVR_WithSuffix(settings->inputName.c_str(), ".pvr");
  const std::string &directory = settings->outputDirectory;
  if (!directory.empty()) {
    std::string joined = directory;
    if (joined.back() != '/' && joined.back() != '\\') joined += '/';
    name = joined + BaseName(name.c_str());
  }
  settings->outputName = name;
}

int PVR_LoadImage(PVR_Settings *settings, PVR_Image *image) {
  const char *input = settings->inputName.c_str();
  PVR_DeriveOutputName(settings);

  std::string suffix = PVR_Suffix(input);
  PVR_SourceType type;
  if (!suffix.empty()) {
    type = PVR_SourceTypeOfSuffix(suffix);
    if (type == kSourceNone) {
      PrintError("Error : Can't convert filetype \"%s\"\n", suffix.c_str());
      return 0;
    }
  } else {
    type = static_cast<PVR_SourceType>(settings->info.sourceType);
    if (type < kSourceBMP || type > kSourcePIX) {
      PrintError("Error : You must set filename suffix\n");
      return 0;
    }
  }
  std::string why;
  if (!PVR_ReadImage(type, input, *settings, image, &why)) {
    ReportUnreadable(settings->inputName, why);
    return 0;
  }

  long below = 0;
  int kind = PVR_ClassifyAlpha(*image, &below);
  if (kind == kAlphaNone) PrintInfo("[NO ALPHA DATA]");
  else if (kind == kAlphaBilevel) PrintInfo("[BILEVEL]");
  else PrintInfo("[ALPHA %d]", static_cast<int>(below));
  settings->info.alphaKind = kind;
  if (settings->autoForm) {
    settings->pixelFormat = kind == kAlphaBilevel ? kPixARGB1555 : kind == kAlphaGraded ? kPixARGB4444 : kPixRGB565;
  }
  PrintInfo("[%s]", PVR_PixelFormatName(settings->pixelFormat));
  return 1;
}

int PVR_ClassifyAlpha(const PVR_Image &image, long *below) {
  long translucent = 0;
  long transparent = 0;
  for (size_t i = kTexelA; i < image.texels.size(); i += 4) {
    uint8_t alpha = image.texels[i];
    translucent += alpha != 255;
    transparent += alpha == 0;
  }
  *below = translucent;
  if (translucent == 0) return kAlphaNone;
  return translucent == transparent ? kAlphaBilevel : kAlphaGraded;
}

const char *PVR_PixelFormatName(int32_t code) {
  constexpr int32_t count = sizeof kPixelFormatNames / sizeof kPixelFormatNames[0];
  return code >= 0 && code < count ? kPixelFormatNames[code] : "XXXX";
}
