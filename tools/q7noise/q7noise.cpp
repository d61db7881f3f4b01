// q7noise: renders a noise function of the library to a PNG picture: a slice through its space, in a colour ramp made
// with Q7HslToRgb; functions with three results give the three channels. Uses the library's public headers alone.
#include <png.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "math/q7color.h"
#include "math/q7noise.h"
#include "math/q7wide.h"

namespace {

struct Settings {
  std::string function = "smooth";
  std::string output = "noise.png";
  int width = 256, height = 256;
  double size = 0.32;  // side of the picture, in units: 25 lattice cells a unit
  double x = 0, y = 0, z = 0.5, w = 0.5;
  double octaves = 1, frequency = 2;
  double hue_from = 0, hue_to = 0, saturation = 0;
  double contrast = 1;
  bool quiet = false;
};

// A picture line at a time: values 0..1, one a pixel, or three.
using Line = void (*)(const Settings &, const std::vector<Q7Vector4> &, std::vector<double> &);

template <double (*Function)(const Q7Vector *, double, double)>
void scalar3(const Settings &s, const std::vector<Q7Vector4> &points, std::vector<double> &values) {
  for (size_t i = 0; i < points.size(); ++i) {
    const Q7Vector p = {points[i].x, points[i].y, points[i].z};
    values[i] = Function(&p, s.frequency, s.octaves);
  }
}

template <double (*Function)(const Q7Vector4 *, double, double)>
void scalar4(const Settings &s, const std::vector<Q7Vector4> &points, std::vector<double> &values) {
  for (size_t i = 0; i < points.size(); ++i) values[i] = Function(&points[i], s.frequency, s.octaves);
}

void store(std::vector<double> &values, size_t i, const Q7Vector &v) {
  values[3 * i] = v.x;
  values[3 * i + 1] = v.y;
  values[3 * i + 2] = v.z;
}

template <Q7Vector *(*Function)(Q7Vector *, const Q7Vector *, double, double)>
void vector3(const Settings &s, const std::vector<Q7Vector4> &points, std::vector<double> &values) {
  for (size_t i = 0; i < points.size(); ++i) {
    Q7Vector v = {points[i].x, points[i].y, points[i].z};
    store(values, i, *Function(&v, &v, s.frequency, s.octaves));
  }
}

template <Q7Vector *(*Function)(Q7Vector *, const Q7Vector4 *, double, double)>
void vector4(const Settings &s, const std::vector<Q7Vector4> &points, std::vector<double> &values) {
  for (size_t i = 0; i < points.size(); ++i) {
    Q7Vector v;
    store(values, i, *Function(&v, &points[i], s.frequency, s.octaves));
  }
}

// Whole octaves of the two families that have wide forms go through them.
template <void (*Function)(double *, const Q7Vector *, int32_t, int32_t, double), Line Fallback>
void wide(const Settings &s, const std::vector<Q7Vector4> &points, std::vector<double> &values) {
  if (s.octaves != std::floor(s.octaves)) return Fallback(s, points, values);
  std::vector<Q7Vector> line;
  line.reserve(points.size());
  for (const Q7Vector4 &p : points) line.push_back({p.x, p.y, p.z});
  Function(values.data(), line.data(), static_cast<int32_t>(line.size()), static_cast<int32_t>(s.octaves), s.frequency);
}

struct Family {
  const char *name;
  const char *meaning;
  int channels;
  Line line;
};

const Family families[] = {
    {"value", "value noise", 1, wide<Q7VectorNoiseArray, scalar3<CVectorNoise>>},
    {"smooth", "smooth value noise", 1, wide<Q7SmoothNoiseArray, scalar3<CSmoothNoise>>},
    {"point", "distance of the nearest feature point", 1, scalar3<CPoint3DTo1DNoise>},
    {"value-vector", "vector noise", 3, vector3<CVectorNoise3D>},
    {"smooth-vector", "smooth vector noise", 3, vector3<CSmoothNoise3D>},
    {"point-vector", "distances of the three nearest feature points", 3, vector3<CPoint3DTo3DNoise>},
    {"value4", "four-dimensional value noise", 1, scalar4<CNoise4DTo1D>},
    {"smooth4", "four-dimensional smooth value noise", 1, scalar4<CSmoothNoise4DTo1D>},
    {"point4", "four-dimensional point noise", 1, scalar4<CPoint4DTo1DNoise>},
    {"value4-vector", "four-dimensional vector noise", 3, vector4<CNoise4DTo3D>},
    {"smooth4-vector", "four-dimensional smooth vector noise", 3, vector4<CSmoothNoise4DTo3D>},
    {"point4-vector", "distances of the three nearest feature points", 3, vector4<CPoint4DTo3DNoise>},
};

const Family *find(const std::string &name) {
  for (const Family &family : families) {
    if (name == family.name) return &family;
  }
  return nullptr;
}

uint8_t channel(double v) { return static_cast<uint8_t>(std::lround(255 * std::fmin(1, std::fmax(0, v)))); }

// Shows how far a render has come, once it has lasted a moment and someone is looking.
class Progress {
 public:
  explicit Progress(bool wanted) : wanted_(wanted && isatty(STDERR_FILENO)) {}
  ~Progress() {
    if (shown_) std::fprintf(stderr, "\r%60s\r", "");
  }
  void at(int done, int all) {
    if (!wanted_ || std::chrono::steady_clock::now() - start_ < std::chrono::milliseconds(400)) return;
    shown_ = true;
    const int full = 40 * done / all;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", full, "########################################", 40 - full, "",
                 100 * done / all);
  }

 private:
  bool wanted_, shown_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

// Eight bits a pixel and a palette, or three channels of eight bits.
bool write_png(const std::string &name, int width, int height, int channels, const std::vector<uint8_t> &pixels,
               const png_color *palette) {
  File file(std::fopen(name.c_str(), "wb"), std::fclose);
  if (!file) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file.get());
  png_set_compression_level(png, 9);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               channels == 1 ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (channels == 1) {
    png_set_PLTE(png, info, palette, 256);
    png_set_filter(png, 0, PNG_FILTER_SUB | PNG_FILTER_UP);
  }
  png_write_info(png, info);
  const size_t row = static_cast<size_t>(width) * static_cast<size_t>(channels);
  for (int y = 0; y < height; ++y) png_write_row(png, &pixels[static_cast<size_t>(y) * row]);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fflush(file.get()) == 0;
}

int render(const Settings &s, const Family &family) {
  const auto width = static_cast<size_t>(s.width);
  std::vector<Q7Vector4> points(width);
  std::vector<double> values(width * static_cast<size_t>(family.channels));
  std::vector<uint8_t> pixels;
  pixels.reserve(values.size() * static_cast<size_t>(s.height));
  Progress progress(!s.quiet);
  const double step = s.size / s.width;
  for (int row = 0; row < s.height; ++row) {
    for (size_t i = 0; i < width; ++i) points[i] = {s.x + step * static_cast<double>(i), s.y + step * row, s.z, s.w};
    family.line(s, points, values);
    for (double v : values) pixels.push_back(channel(0.5 + s.contrast * (v - 0.5)));
    progress.at(row + 1, s.height);
  }
  png_color palette[256];
  for (int i = 0; i < 256; ++i) {
    const double t = i / 255.0;
    const Q7ColorHSL hsl = {s.hue_from + t * (s.hue_to - s.hue_from), s.saturation, t};
    Q7ColorRGB rgb;
    Q7HslToRgb(&rgb, &hsl);
    palette[i] = {channel(rgb.red), channel(rgb.green), channel(rgb.blue)};
  }
  if (!write_png(s.output, s.width, s.height, family.channels, pixels, palette)) {
    std::fprintf(stderr, "q7noise: cannot write %s\n", s.output.c_str());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  Settings s;
  CLI::App app("Renders a slice of a noise function to a PNG picture.");
  std::string names = "Noise function:";
  for (const Family &family : families) names += std::string("\n  ") + family.name + ": " + family.meaning;
  app.add_option("function", s.function, names)->check([](const std::string &name) {
    return find(name) ? std::string() : "unknown function " + name;
  });
  app.add_option("-o,--output", s.output, "Picture file")->capture_default_str();
  app.add_option("--width", s.width, "Pixels a line")->check(CLI::Range(1, 16384))->capture_default_str();
  app.add_option("--height", s.height, "Lines")->check(CLI::Range(1, 16384))->capture_default_str();
  app.add_option("-s,--size", s.size, "Width of the slice in units (25 lattice cells each)")->capture_default_str();
  app.add_option("-n,--octaves", s.octaves, "Octaves, also a fraction")
      ->check(CLI::Range(1.0, 32.0))
      ->capture_default_str();
  app.add_option("-f,--frequency", s.frequency, "Frequency factor between octaves")->capture_default_str();
  app.add_option("-x", s.x, "Left border of the slice")->capture_default_str();
  app.add_option("-y", s.y, "Upper border of the slice")->capture_default_str();
  app.add_option("-z", s.z, "Depth of the slice")->capture_default_str();
  app.add_option("-w", s.w, "Fourth coordinate of the slice")->capture_default_str();
  app.add_option("--hue-from", s.hue_from, "Hue of the dark end of the ramp, 0 to 1")->capture_default_str();
  app.add_option("--hue-to", s.hue_to, "Hue of the bright end of the ramp")->capture_default_str();
  app.add_option("--saturation", s.saturation, "Saturation of the ramp, 0 to 1")->capture_default_str();
  app.add_option("--contrast", s.contrast, "Spread of the values around one half")->capture_default_str();
  app.add_flag("-q,--quiet", s.quiet, "No progress bar");
  CLI11_PARSE(app, argc, argv);
  return render(s, *find(s.function));
}
