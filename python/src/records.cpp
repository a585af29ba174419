#include "records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "support/text_field.h"

namespace python {

namespace py = pybind11;

namespace {

// Calls visit(name, field) for each field but those that the library neither reads nor writes.
template <typename Info, typename Visit>
void visit_image_info(Info& info, Visit visit) {
  visit("overflow_count", info.overflow_count);
  visit("start_angle", info.start_angle);
  visit("reserved_angle", info.reserved_angle);
  visit("distance", info.distance);
  visit("oscillation_range", info.oscillation_range);
  visit("wavelength", info.wavelength);
  visit("exposure_time", info.exposure_time);
  visit("minimum", info.minimum);
  visit("maximum", info.maximum);
  visit("average", info.average);
  visit("file_name", info.file_name);
}

template <typename Header, typename Visit>
void visit_mar345_header(Header& header, Visit visit) {
  visit("program", header.program);
  visit("date", header.date);
  visit("format", header.format);
  visit("high", header.high);
  visit("pixel_length", header.pixel_length);
  visit("pixel_height", header.pixel_height);
  visit("roff", header.roff);
  visit("toff", header.toff);
  visit("gap", header.gap);
  visit("adc_a", header.adc_a);
  visit("adc_b", header.adc_b);
  visit("add_a", header.add_a);
  visit("add_b", header.add_b);
  visit("multiplier", header.multiplier);
  visit("gain", header.gain);
  visit("wavelength", header.wavelength);
  visit("distance", header.distance);
  visit("resolution", header.resolution);
  visit("phi_start", header.phi_start);
  visit("phi_end", header.phi_end);
  visit("phi_osc", header.phi_osc);
  visit("omega_start", header.omega_start);
  visit("omega_end", header.omega_end);
  visit("omega_osc", header.omega_osc);
  visit("chi", header.chi);
  visit("twotheta", header.twotheta);
  visit("center_x", header.center_x);
  visit("center_y", header.center_y);
  visit("mode", header.mode);
  visit("time", header.time);
  visit("counts_start", header.counts_start);
  visit("counts_end", header.counts_end);
  visit("nmeas", header.nmeas);
  visit("intensity_min", header.intensity_min);
  visit("intensity_max", header.intensity_max);
  visit("intensity_avg", header.intensity_avg);
  visit("intensity_sig", header.intensity_sig);
  visit("int_start", header.int_start);
  visit("int_end", header.int_end);
  visit("int_mean", header.int_mean);
  visit("int_sig", header.int_sig);
  visit("histogram", header.histogram);
  visit("kv", header.kv);
  visit("ma", header.ma);
  visit("source", header.source);
  visit("collimator_width", header.collimator_width);
  visit("collimator_height", header.collimator_height);
  visit("slit1_x", header.slit1_x);
  visit("slit1_y", header.slit1_y);
  visit("slit2_x", header.slit2_x);
  visit("slit2_y", header.slit2_y);
  visit("beamstop", header.beamstop);
  visit("xtal", header.xtal);
  visit("trans1", header.trans1);
  visit("trans2", header.trans2);
}

// Text fields are bytes of any encoding; ISO-8859-1 keeps them all.
struct ToPython {
  py::dict& fields;

  void operator()(const char* name, int value) const { fields[name] = value; }
  void operator()(const char* name, double value) const { fields[name] = value; }
  template <std::size_t size>
  void operator()(const char* name, const char (&text)[size]) const {
    const auto length = static_cast<py::ssize_t>(strnlen(text, size));
    fields[name] = py::reinterpret_steal<py::object>(PyUnicode_DecodeLatin1(text, length, nullptr));
  }
  template <std::size_t size>
  void operator()(const char* name, const int (&values)[size]) const {
    py::tuple tuple(size);
    for (std::size_t i = 0; i < size; ++i) tuple[i] = values[i];
    fields[name] = tuple;
  }
};

struct FromPython {
  const py::dict& fields;

  template <typename Field>
  void operator()(const char* name, Field& field) const {
    if (!fields.contains(name)) return;
    try {
      read(fields[name], field);
    } catch (const py::cast_error&) {
      throw py::type_error("the field " + std::string(name) + " cannot have this value");
    }
  }

 private:
  template <typename Number>
  static void read(const py::object& value, Number& number) {
    number = value.cast<Number>();
  }
  template <std::size_t size>
  static void read(const py::object& value, char (&text)[size]) {
    if (!py::isinstance<py::str>(value)) throw py::cast_error();
    const auto bytes = value.attr("encode")("latin-1", "replace").cast<std::string>();
    xrd::copy_cut(text, bytes);
  }
  template <std::size_t size>
  static void read(const py::object& value, int (&values)[size]) {
    const auto tuple = value.cast<py::tuple>();
    if (tuple.size() != size) throw py::cast_error();
    for (std::size_t i = 0; i < size; ++i) values[i] = tuple[i].cast<int>();
  }
};

}  // namespace

py::dict dict_of(const ImageInfo& info) {
  py::dict fields;
  visit_image_info(info, ToPython{fields});
  return fields;
}

py::dict dict_of(const Mar345Header& header) {
  py::dict fields;
  visit_mar345_header(header, ToPython{fields});
  return fields;
}

Mar345Header mar345_header_of(const py::dict& fields) {
  Mar345Header header{};
  visit_mar345_header(header, FromPython{fields});
  return header;
}

}  // namespace python
