/*
 * dvdnav_blocks: what libdvdnav plays for each title of a disc and for
 * chapter ranges of it, as "key value" lines, for the tool's title tests to
 * compare with without needing libdvdnav at run time.
 *
 * Build and run by hand (Debian: apt-get install libdvdnav-dev):
 *   cc -O1 -Wall -o dvdnav_blocks tools/dvdnav_blocks.c -ldvdnav
 *   ./dvdnav_blocks samples/dvd OUT.txt
 * The first argument is the folder that holds VIDEO_TS (or the VIDEO_TS
 * folder itself, or a disc image). The facts go to OUT.txt ("-" for
 * stdout): libdvdread prints a banner on stdout when it opens a disc, so a
 * file is the safe place for them.
 *
 * For a title T of N chapters the ranges are the whole title, each chapter
 * alone, and with three or more chapters 2-N and 1-(N-1). One line each:
 *   title.T.chapters.A-B sha256 HASH sectors S
 * HASH is the SHA-256 of every block libdvdnav returns (navigation packs
 * and data, DVDNAV_NAV_PACKET and DVDNAV_BLOCK_OK) after
 * dvdnav_part_play(T, A), until it reports another title, a chapter past B
 * or before A, or stops. Still frames and waits are skipped, read-ahead is
 * off and PGC positioning on. Besides, per title:
 *   title.T.parts N          dvdnav_get_number_of_parts
 *   title.T.angles N         dvdnav_get_number_of_angles
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <dvdnav/dvdnav.h>

#include "small_sha256.h"

/* More blocks than any test disc holds: a title that plays itself again
 * and again ends here instead of running for ever. */
#define MAX_BLOCKS 4000000L

typedef struct {
  char hash[65];
  long sectors;
  const char *problem; /* NULL when the range played to its end */
} played_t;

static played_t play_range(const char *disc, int title, int first, int last) {
  played_t result = {"", 0, NULL};
  dvdnav_t *nav = NULL;
  uint8_t block[DVD_VIDEO_LB_LEN];
  sha256_t sha;
  sha256_init(&sha);
  if (dvdnav_open(&nav, disc) != DVDNAV_STATUS_OK) {
    result.problem = "dvdnav_open failed";
    return result;
  }
  dvdnav_set_readahead_flag(nav, 0);
  dvdnav_set_PGC_positioning_flag(nav, 1);
  if (dvdnav_part_play(nav, title, first) != DVDNAV_STATUS_OK) {
    result.problem = "dvdnav_part_play failed";
    dvdnav_close(nav);
    return result;
  }
  for (;;) {
    int event = 0, length = 0, now_title = 0, now_part = 0;
    if (dvdnav_get_next_block(nav, block, &event, &length) != DVDNAV_STATUS_OK) {
      result.problem = dvdnav_err_to_string(nav);
      break;
    }
    if (event == DVDNAV_STOP) break;
    if (event == DVDNAV_STILL_FRAME) {
      dvdnav_still_skip(nav);
      continue;
    }
    if (event == DVDNAV_WAIT) {
      dvdnav_wait_skip(nav);
      continue;
    }
    if (event != DVDNAV_BLOCK_OK && event != DVDNAV_NAV_PACKET) continue;
    if (dvdnav_current_title_info(nav, &now_title, &now_part) != DVDNAV_STATUS_OK) break;
    if (now_title != title || now_part > last || now_part < first) break;
    if (result.sectors >= MAX_BLOCKS) {
      result.problem = "the title plays on and on";
      break;
    }
    sha256_update(&sha, block, DVD_VIDEO_LB_LEN);
    result.sectors++;
  }
  sha256_hex(&sha, result.hash);
  dvdnav_close(nav);
  return result;
}

static void print_range(FILE *out, const char *disc, int title, int first, int last) {
  played_t played = play_range(disc, title, first, last);
  if (played.problem)
    fprintf(out, "title.%d.chapters.%d-%d none (%s)\n", title, first, last, played.problem);
  else
    fprintf(out, "title.%d.chapters.%d-%d sha256 %s sectors %ld\n", title, first, last,
            played.hash, played.sectors);
}

int main(int argc, char **argv) {
  dvdnav_t *nav = NULL;
  int32_t titles = 0, title;
  FILE *out;
  if (argc != 3) {
    fprintf(stderr, "usage: %s DISC OUT.txt\n", argv[0]);
    return 2;
  }
  if (dvdnav_open(&nav, argv[1]) != DVDNAV_STATUS_OK) {
    fprintf(stderr, "dvdnav_open failed on %s\n", argv[1]);
    return 1;
  }
  if (dvdnav_get_number_of_titles(nav, &titles) != DVDNAV_STATUS_OK) {
    fprintf(stderr, "dvdnav_get_number_of_titles failed: %s\n", dvdnav_err_to_string(nav));
    return 1;
  }
  out = strcmp(argv[2], "-") == 0 ? stdout : fopen(argv[2], "w");
  if (!out) {
    perror(argv[2]);
    return 1;
  }
  fprintf(out, "titles %d\n", titles);
  for (title = 1; title <= titles; title++) {
    int32_t parts = 0, angles = 0, part;
    dvdnav_get_number_of_parts(nav, title, &parts);
    dvdnav_get_number_of_angles(nav, title, &angles);
    fprintf(out, "title.%d.parts %d\n", title, parts);
    fprintf(out, "title.%d.angles %d\n", title, angles);
    if (parts < 1) continue;
    print_range(out, argv[1], title, 1, parts);
    for (part = 1; part <= parts && parts > 1; part++) print_range(out, argv[1], title, part, part);
    if (parts >= 3) {
      print_range(out, argv[1], title, 2, parts);
      print_range(out, argv[1], title, 1, parts - 1);
    }
  }
  dvdnav_close(nav);
  if (out != stdout && fclose(out) != 0) {
    perror(argv[2]);
    return 1;
  }
  return 0;
}
