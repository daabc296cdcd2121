#ifndef TRELLIS_TRELLIS_H
#define TRELLIS_TRELLIS_H

/// Everything a host of libtrellis includes.
///
/// A host clears one `pic_format` record per file format, has the library fill it, and from then on
/// probes, measures, loads and saves pictures through the record's function slots:
///
///     pic_format pixar;
///     memset(&pixar, 0, sizeof pixar);
///     init_pixar_pic_(&pixar);
///     int code = pixar.load_pic_fn("shot.pic", pixels, width, 0, 0, width - 1, height - 1, 0, 0);
///     if (code != 0)
///         fprintf(stderr, "shot.pic: %s\n", err_msg_string_pic((unsigned int)code));
///
/// The library is single-threaded and keeps its settings in process-wide variables: calls must not
/// overlap.

#include "trellis/bytes.h"
#include "trellis/convert.h"
#include "trellis/errors.h"
#include "trellis/film.h"
#include "trellis/pic_format.h"
#include "trellis/settings.h"
#include "trellis/sidedata.h"

#endif
