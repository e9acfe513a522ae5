/*
 * dvdread_facts: prints what libdvdread reads from a VIDEO_TS folder, as
 * "key value" lines, for the differential tests to compare against without
 * needing libdvdread at run time.
 *
 * Build and run by hand (Debian: apt-get install libdvdread-dev):
 *   cc -O1 -Wall -o /tmp/dvdread_facts tools/dvdread_facts.c -ldvdread
 *   /tmp/dvdread_facts samples/dvd > samples/dvd/dvdread-facts.txt
 * The argument is the folder that holds VIDEO_TS (or the VIDEO_TS folder
 * itself). tools/make-sample-dvd does both steps.
 *
 * Format: one fact a line, "key value...", keys dotted from the outside in:
 *   vmg.*                    the video manager (VIDEO_TS.IFO)
 *   vmg.menu.*               its menu attributes, language units, cells
 *   title.T.*                title table entry T (1-based)
 *   vts.N.*                  title set N (VTS_NN_0.IFO)
 *   vts.N.pgc.P.*            PGC P (1-based) of the title set's PGC table
 *   vts.N.pgc.P.cell.C.*     cell C (1-based) of that PGC
 *   vts.N.menu.lu.L.pgc.P.*  menu PGC P of language unit L
 *   vts.N.c_adt.I            cell address entry I (0-based): vob_id cell_id start last
 * Numbers are decimal unless shown as 0x..; times are the four raw bytes
 * hh:mm:ss:ff in hex (BCD digits, the top two bits of ff are the frame rate).
 * A PGC's "sha256" line hashes its sectors first cell first_sector through
 * last cell last_sector inclusive, read with DVDReadBlocks from the title
 * (or menu) VOBs; its "playback_sha256" line hashes its cells in the chain's
 * order, each cell's first_sector through last_sector.
 */
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <dvdread/dvd_reader.h>
#include <dvdread/ifo_read.h>
#include <dvdread/ifo_types.h>

#include "small_sha256.h"

/* ---- printing --------------------------------------------------------- */

static void time_str(const dvd_time_t *t, char out[12]) {
  sprintf(out, "%02x:%02x:%02x:%02x", t->hour, t->minute, t->second, t->frame_u);
}

static void lang_str(uint16_t code, char out[8]) {
  unsigned char a = code >> 8, b = code & 0xff;
  if (a >= 'a' && a <= 'z' && b >= 'a' && b <= 'z')
    sprintf(out, "%c%c", a, b);
  else
    sprintf(out, "0x%04x", code);
}

static void print_video(const char *k, const video_attr_t *v) {
  printf("%s.video mpeg_version %u format %u aspect %u permitted_df %u "
         "cc1 %u cc2 %u bit_rate %u picture_size %u letterboxed %u film_mode %u\n",
         k, v->mpeg_version, v->video_format, v->display_aspect_ratio, v->permitted_df,
         v->line21_cc_1, v->line21_cc_2, v->bit_rate, v->picture_size, v->letterboxed,
         v->film_mode);
}

static void print_audio(const char *k, int i, const audio_attr_t *a) {
  char l[8];
  lang_str(a->lang_code, l);
  printf("%s.audio.%d coding %u channels %u lang %s lang_type %u application_mode %u "
         "quantization %u sample_frequency %u multichannel_extension %u "
         "lang_extension %u code_extension %u\n",
         k, i, a->audio_format, a->channels, l, a->lang_type, a->application_mode,
         a->quantization, a->sample_frequency, a->multichannel_extension,
         a->lang_extension, a->code_extension);
}

static void print_subp(const char *k, int i, const subp_attr_t *s) {
  char l[8];
  lang_str(s->lang_code, l);
  printf("%s.subp.%d coding %u type %u lang %s lang_extension %u code_extension %u\n",
         k, i, s->code_mode, s->type, l, s->lang_extension, s->code_extension);
}

static void print_cmds(const char *k, const char *what, int n, const vm_cmd_t *c) {
  int i, j;
  for (i = 0; i < n; i++) {
    printf("%s.%s.%d ", k, what, i + 1);
    for (j = 0; j < 8; j++) printf("%02x", c[i].bytes[j]);
    printf("\n");
  }
}

/* Adds sectors first..last (inclusive) of `f` to the hash; 0 after a
 * "none" line for a read that failed. */
static int hash_sectors(sha256_t *s, const char *k, const char *name, dvd_file_t *f,
                        uint32_t first, uint32_t last) {
  unsigned char buf[64 * DVD_VIDEO_LB_LEN];
  uint32_t at;
  for (at = first; at <= last;) {
    size_t n = last - at + 1;
    ssize_t got;
    if (n > 64) n = 64;
    got = DVDReadBlocks(f, (int)at, n, buf);
    if (got != (ssize_t)n) {
      printf("%s.%s none (DVDReadBlocks at %u gave %zd of %zu)\n", k, name, at, got, n);
      return 0;
    }
    sha256_update(s, buf, n * DVD_VIDEO_LB_LEN);
    at += (uint32_t)n;
  }
  return 1;
}

/* Prints "K.NAME HEX sectors N": the hash of the `count` sector ranges
 * first[i]..last[i] (inclusive) of the given VOB domain, one after another. */
static void print_hash(const char *k, const char *name, dvd_reader_t *dvd, int vts,
                       dvd_read_domain_t dom, int count, const uint32_t *first,
                       const uint32_t *last) {
  dvd_file_t *f;
  sha256_t s;
  char hex[65];
  uint32_t sectors = 0;
  int i;
  for (i = 0; i < count; i++)
    if (last[i] < first[i]) {
      printf("%s.%s none (last sector before first)\n", k, name);
      return;
    }
  f = DVDOpenFile(dvd, vts, dom);
  if (!f) {
    printf("%s.%s none (DVDOpenFile failed)\n", k, name);
    return;
  }
  sha256_init(&s);
  for (i = 0; i < count; i++) {
    if (!hash_sectors(&s, k, name, f, first[i], last[i])) {
      DVDCloseFile(f);
      return;
    }
    sectors += last[i] - first[i] + 1;
  }
  DVDCloseFile(f);
  sha256_hex(&s, hex);
  printf("%s.%s %s sectors %u\n", k, name, hex, sectors);
}

/* The chain's range (first cell's first sector to last cell's last) and its
 * cells in playback order, each cell's own sectors. */
static void print_pgc_hashes(const char *k, const pgc_t *p, dvd_reader_t *dvd, int vts,
                             dvd_read_domain_t dom) {
  uint32_t first[256], last[256];
  int i, n = p->nr_of_cells;
  first[0] = p->cell_playback[0].first_sector;
  last[0] = p->cell_playback[n - 1].last_sector;
  print_hash(k, "sha256", dvd, vts, dom, 1, first, last);
  for (i = 0; i < n; i++) {
    first[i] = p->cell_playback[i].first_sector;
    last[i] = p->cell_playback[i].last_sector;
  }
  print_hash(k, "playback_sha256", dvd, vts, dom, n, first, last);
}

static void print_pgc(const char *k, const pgc_t *p, dvd_reader_t *dvd, int vts,
                      dvd_read_domain_t dom) {
  char t[12], ck[160];
  int i;
  time_str(&p->playback_time, t);
  printf("%s.programs %u\n", k, p->nr_of_programs);
  printf("%s.cells %u\n", k, p->nr_of_cells);
  printf("%s.time %s\n", k, t);
  printf("%s.next_prev_goup %u %u %u\n", k, p->next_pgc_nr, p->prev_pgc_nr, p->goup_pgc_nr);
  printf("%s.playback_mode %u still_time %u\n", k, p->pg_playback_mode, p->still_time);
  for (i = 0; i < 8; i++)
    if (p->audio_control[i]) printf("%s.audio_control.%d 0x%04x\n", k, i, p->audio_control[i]);
  for (i = 0; i < 32; i++)
    if (p->subp_control[i]) printf("%s.subp_control.%d 0x%08x\n", k, i, p->subp_control[i]);
  if (p->command_tbl) {
    const pgc_command_tbl_t *c = p->command_tbl;
    printf("%s.commands pre %u post %u cell %u\n", k, c->nr_of_pre, c->nr_of_post, c->nr_of_cell);
    print_cmds(k, "pre", c->nr_of_pre, c->pre_cmds);
    print_cmds(k, "post", c->nr_of_post, c->post_cmds);
    print_cmds(k, "cellcmd", c->nr_of_cell, c->cell_cmds);
  } else {
    printf("%s.commands none\n", k);
  }
  if (p->program_map) {
    printf("%s.program_map", k);
    for (i = 0; i < p->nr_of_programs; i++) printf(" %u", p->program_map[i]);
    printf("\n");
  }
  for (i = 0; p->cell_playback && i < p->nr_of_cells; i++) {
    const cell_playback_t *c = &p->cell_playback[i];
    snprintf(ck, sizeof ck, "%s.cell.%d", k, i + 1);
    time_str(&c->playback_time, t);
    printf("%s.sectors first %u last %u last_vobu_start %u first_ilvu_end %u\n", ck,
           c->first_sector, c->last_sector, c->last_vobu_start_sector,
           c->first_ilvu_end_sector);
    printf("%s.time %s still_time %u cell_cmd_nr %u\n", ck, t, c->still_time, c->cell_cmd_nr);
    printf("%s.flags block_mode %u block_type %u seamless_play %u interleaved %u "
           "stc_discontinuity %u seamless_angle %u playback_mode %u restricted %u\n",
           ck, c->block_mode, c->block_type, c->seamless_play, c->interleaved,
           c->stc_discontinuity, c->seamless_angle, c->playback_mode, c->restricted);
    if (p->cell_position)
      printf("%s.position vob_id %u cell_nr %u\n", ck, p->cell_position[i].vob_id_nr,
             p->cell_position[i].cell_nr);
  }
  if (p->cell_playback && p->nr_of_cells > 0) print_pgc_hashes(k, p, dvd, vts, dom);
}

static void print_pgcit(const char *k, const pgcit_t *t, dvd_reader_t *dvd, int vts,
                        dvd_read_domain_t dom) {
  char pk[128];
  int i;
  printf("%s.pgcs %u\n", k, t->nr_of_pgci_srp);
  for (i = 0; i < t->nr_of_pgci_srp; i++) {
    const pgci_srp_t *s = &t->pgci_srp[i];
    snprintf(pk, sizeof pk, "%s.pgc.%d", k, i + 1);
    printf("%s.entry_id 0x%02x block_mode %u block_type %u ptl_id_mask 0x%04x start_byte %u\n",
           pk, s->entry_id, s->block_mode, s->block_type, s->ptl_id_mask, s->pgc_start_byte);
    if (s->pgc) print_pgc(pk, s->pgc, dvd, vts, dom);
  }
}

static void print_pgci_ut(const char *k, const pgci_ut_t *u, dvd_reader_t *dvd, int vts) {
  char lk[128], l[8];
  int i;
  if (!u) {
    printf("%s.lus none\n", k);
    return;
  }
  printf("%s.lus %u\n", k, u->nr_of_lus);
  for (i = 0; i < u->nr_of_lus; i++) {
    const pgci_lu_t *lu = &u->lu[i];
    snprintf(lk, sizeof lk, "%s.lu.%d", k, i + 1);
    lang_str(lu->lang_code, l);
    printf("%s.lang %s lang_extension %u exists 0x%02x start_byte %u\n", lk, l,
           lu->lang_extension, lu->exists, lu->lang_start_byte);
    if (lu->pgcit) print_pgcit(lk, lu->pgcit, dvd, vts, DVD_READ_MENU_VOBS);
  }
}

static void print_c_adt(const char *k, const c_adt_t *c) {
  int i, n;
  if (!c) {
    printf("%s.c_adt none\n", k);
    return;
  }
  n = (int)((c->last_byte + 1 - C_ADT_SIZE) / sizeof(cell_adr_t));
  printf("%s.c_adt vobs %u last_byte %u entries %d\n", k, c->nr_of_vobs, c->last_byte, n);
  for (i = 0; i < n; i++)
    printf("%s.c_adt.%d vob_id %u cell_id %u start %u last %u\n", k, i,
           c->cell_adr_table[i].vob_id, c->cell_adr_table[i].cell_id,
           c->cell_adr_table[i].start_sector, c->cell_adr_table[i].last_sector);
}

static void print_admap(const char *k, const vobu_admap_t *m) {
  int i, n;
  if (!m) {
    printf("%s.vobu_admap none\n", k);
    return;
  }
  n = (int)((m->last_byte + 1 - VOBU_ADMAP_SIZE) / 4);
  printf("%s.vobu_admap last_byte %u entries %d\n", k, m->last_byte, n);
  printf("%s.vobu_admap.sectors", k);
  for (i = 0; i < n; i++) printf(" %u", m->vobu_start_sectors[i]);
  printf("\n");
}

/* libdvdread's messages go to stderr, never into the facts. */
static void log_to_stderr(void *priv, dvd_logger_level_t level, const char *fmt, va_list ap) {
  (void)priv;
  (void)level;
  fputs("libdvdread: ", stderr);
  vfprintf(stderr, fmt, ap);
  fputs("\n", stderr);
}

static void print_stat(const char *k, dvd_reader_t *dvd, int vts, dvd_read_domain_t dom) {
  dvd_stat_t st;
  int i;
  if (DVDFileStat(dvd, vts, dom, &st) != 0) {
    printf("%s none\n", k);
    return;
  }
  printf("%s size %lld parts %d", k, (long long)st.size, st.nr_parts);
  for (i = 0; i < st.nr_parts && i < 9; i++) printf(" %lld", (long long)st.parts_size[i]);
  printf("\n");
}

int main(int argc, char **argv) {
  static const dvd_logger_cb logger = {log_to_stderr};
  dvd_reader_t *dvd;
  ifo_handle_t *vmg;
  const vmgi_mat_t *m;
  char prov[33];
  int i, j, n;

  if (argc != 2) {
    fprintf(stderr, "usage: %s FOLDER-HOLDING-VIDEO_TS\n", argv[0]);
    return 2;
  }
  dvd = DVDOpen2(NULL, &logger, argv[1]);
  if (!dvd) {
    fprintf(stderr, "DVDOpen failed on %s\n", argv[1]);
    return 1;
  }
  vmg = ifoOpen(dvd, 0);
  if (!vmg) {
    fprintf(stderr, "ifoOpen(0) failed\n");
    return 1;
  }
  m = vmg->vmgi_mat;
  printf("vmg.identifier %.12s\n", m->vmg_identifier);
  printf("vmg.last_sector %u vmgi_last_sector %u vmgi_last_byte %u\n", m->vmg_last_sector,
         m->vmgi_last_sector, m->vmgi_last_byte);
  /* the version byte follows zero_2 */
  printf("vmg.version 0x%02x\n", ((const unsigned char *)m)[offsetof(vmgi_mat_t, zero_2) + 1]);
  printf("vmg.category 0x%08x\n", m->vmg_category);
  printf("vmg.region_mask 0x%02x\n", (m->vmg_category >> 16) & 0xff);
  printf("vmg.volumes %u\n", m->vmg_nr_of_volumes);
  printf("vmg.volume %u\n", m->vmg_this_volume_nr);
  printf("vmg.disc_side %u\n", m->disc_side);
  printf("vmg.title_sets %u\n", m->vmg_nr_of_title_sets);
  memcpy(prov, m->provider_identifier, 32);
  prov[32] = 0;
  for (i = 0; prov[i]; i++)
    if (prov[i] < 0x20 || prov[i] > 0x7e) prov[i] = '?';
  printf("vmg.provider_id %s\n", prov);
  printf("vmg.pos_code 0x%016llx\n", (unsigned long long)m->vmg_pos_code);
  printf("vmg.first_play_pgc_byte %u\n", m->first_play_pgc);
  printf("vmg.sectors vmgm_vobs %u tt_srpt %u vmgm_pgci_ut %u ptl_mait %u vts_atrt %u "
         "txtdt_mgi %u vmgm_c_adt %u vmgm_vobu_admap %u\n",
         m->vmgm_vobs, m->tt_srpt, m->vmgm_pgci_ut, m->ptl_mait, m->vts_atrt, m->txtdt_mgi,
         m->vmgm_c_adt, m->vmgm_vobu_admap);
  print_video("vmg.menu", &m->vmgm_video_attr);
  printf("vmg.menu.audio_streams %u\n", m->nr_of_vmgm_audio_streams);
  if (m->nr_of_vmgm_audio_streams) print_audio("vmg.menu", 0, &m->vmgm_audio_attr);
  printf("vmg.menu.subp_streams %u\n", m->nr_of_vmgm_subp_streams);
  if (m->nr_of_vmgm_subp_streams) print_subp("vmg.menu", 0, &m->vmgm_subp_attr);
  if (vmg->first_play_pgc) print_pgc("vmg.first_play", vmg->first_play_pgc, dvd, 0,
                                     DVD_READ_MENU_VOBS);
  print_stat("vmg.file.ifo", dvd, 0, DVD_READ_INFO_FILE);
  print_stat("vmg.file.menu_vobs", dvd, 0, DVD_READ_MENU_VOBS);
  print_pgci_ut("vmg.menu", vmg->pgci_ut, dvd, 0);
  print_c_adt("vmg.menu", vmg->menu_c_adt);
  print_admap("vmg.menu", vmg->menu_vobu_admap);

  n = vmg->tt_srpt ? vmg->tt_srpt->nr_of_srpts : 0;
  printf("vmg.titles %d\n", n);
  for (i = 0; i < n; i++) {
    const title_info_t *t = &vmg->tt_srpt->title[i];
    unsigned char pb;
    memcpy(&pb, &t->pb_ty, 1);
    printf("title.%d.playback_type 0x%02x multi_or_random_pgc %u\n", i + 1, pb,
           t->pb_ty.multi_or_random_pgc_title);
    printf("title.%d.angles %u\n", i + 1, t->nr_of_angles);
    printf("title.%d.chapters %u\n", i + 1, t->nr_of_ptts);
    printf("title.%d.parental_id 0x%04x\n", i + 1, t->parental_id);
    printf("title.%d.title_set %u\n", i + 1, t->title_set_nr);
    printf("title.%d.title_in_set %u\n", i + 1, t->vts_ttn);
    printf("title.%d.title_set_sector %u\n", i + 1, t->title_set_sector);
  }
  if (vmg->vts_atrt) {
    printf("vmg.vts_atrt %u\n", vmg->vts_atrt->nr_of_vtss);
    for (i = 0; i < vmg->vts_atrt->nr_of_vtss; i++)
      printf("vmg.vts_atrt.%d category 0x%08x audio_streams %u subp_streams %u\n", i + 1,
             vmg->vts_atrt->vts[i].vts_cat, vmg->vts_atrt->vts[i].nr_of_vtstt_audio_streams,
             vmg->vts_atrt->vts[i].nr_of_vtstt_subp_streams);
  }
  if (vmg->ptl_mait)
    printf("vmg.ptl_mait countries %u vtss %u\n", vmg->ptl_mait->nr_of_countries,
           vmg->ptl_mait->nr_of_vtss);
  else
    printf("vmg.ptl_mait none\n");

  for (i = 1; i <= m->vmg_nr_of_title_sets; i++) {
    ifo_handle_t *v = ifoOpen(dvd, i);
    const vtsi_mat_t *t;
    char k[32];
    snprintf(k, sizeof k, "vts.%d", i);
    if (!v) {
      printf("%s.open failed\n", k);
      continue;
    }
    t = v->vtsi_mat;
    printf("%s.identifier %.12s\n", k, t->vts_identifier);
    printf("%s.last_sector %u vtsi_last_sector %u vtsi_last_byte %u\n", k, t->vts_last_sector,
           t->vtsi_last_sector, t->vtsi_last_byte);
    printf("%s.category 0x%08x\n", k, t->vts_category);
    printf("%s.sectors vtsm_vobs %u vtstt_vobs %u ptt_srpt %u pgcit %u vtsm_pgci_ut %u "
           "tmapt %u vtsm_c_adt %u vtsm_vobu_admap %u c_adt %u vobu_admap %u\n",
           k, t->vtsm_vobs, t->vtstt_vobs, t->vts_ptt_srpt, t->vts_pgcit, t->vtsm_pgci_ut,
           t->vts_tmapt, t->vtsm_c_adt, t->vtsm_vobu_admap, t->vts_c_adt, t->vts_vobu_admap);
    {
      char fk[48];
      snprintf(fk, sizeof fk, "%s.file.ifo", k);
      print_stat(fk, dvd, i, DVD_READ_INFO_FILE);
      snprintf(fk, sizeof fk, "%s.file.menu_vobs", k);
      print_stat(fk, dvd, i, DVD_READ_MENU_VOBS);
      snprintf(fk, sizeof fk, "%s.file.title_vobs", k);
      print_stat(fk, dvd, i, DVD_READ_TITLE_VOBS);
    }
    {
      char mk[40];
      snprintf(mk, sizeof mk, "%s.menu", k);
      print_video(mk, &t->vtsm_video_attr);
      printf("%s.audio_streams %u\n", mk, t->nr_of_vtsm_audio_streams);
      if (t->nr_of_vtsm_audio_streams) print_audio(mk, 0, &t->vtsm_audio_attr);
      printf("%s.subp_streams %u\n", mk, t->nr_of_vtsm_subp_streams);
      if (t->nr_of_vtsm_subp_streams) print_subp(mk, 0, &t->vtsm_subp_attr);
      print_pgci_ut(mk, v->pgci_ut, dvd, i);
      print_c_adt(mk, v->menu_c_adt);
      print_admap(mk, v->menu_vobu_admap);
    }
    print_video(k, &t->vts_video_attr);
    printf("%s.audio_streams %u\n", k, t->nr_of_vts_audio_streams);
    for (j = 0; j < t->nr_of_vts_audio_streams && j < 8; j++)
      print_audio(k, j, &t->vts_audio_attr[j]);
    printf("%s.subp_streams %u\n", k, t->nr_of_vts_subp_streams);
    for (j = 0; j < t->nr_of_vts_subp_streams && j < 32; j++)
      print_subp(k, j, &t->vts_subp_attr[j]);
    if (v->vts_ptt_srpt) {
      int a, b;
      printf("%s.ptt_titles %u\n", k, v->vts_ptt_srpt->nr_of_srpts);
      for (a = 0; a < v->vts_ptt_srpt->nr_of_srpts; a++) {
        const ttu_t *u = &v->vts_ptt_srpt->title[a];
        printf("%s.ptt.%d", k, a + 1);
        for (b = 0; b < u->nr_of_ptts; b++) printf(" %u/%u", u->ptt[b].pgcn, u->ptt[b].pgn);
        printf("\n");
      }
    }
    if (v->vts_pgcit) print_pgcit(k, v->vts_pgcit, dvd, i, DVD_READ_TITLE_VOBS);
    print_c_adt(k, v->vts_c_adt);
    print_admap(k, v->vts_vobu_admap);
    ifoClose(v);
  }
  ifoClose(vmg);
  DVDClose(dvd);
  return 0;
}
