# Shared by the scripts that author the bundled sample discs (sourced, not
# run): installs the authoring tools, moves into a scratch folder, and makes
# the clips every title is cut from.

# need_tools PACKAGE... : installs the Debian packages that are missing.
need_tools() {
  local missing=() p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    echo "Installing: ${missing[*]}" >&2
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" >&2
  fi
}

# in_scratch_folder : a fresh folder, removed when the script ends.
in_scratch_folder() {
  work="$(mktemp -d)"
  trap 'rm -rf "$work"' EXIT
  cd "$work"
}

# Fixed parameters for every clip: NTSC 720x480 4:3, 29.97 fps, closed GOPs of
# 15 frames (a cell or chapter can start every half second), low bitrates.
bitexact=(-fflags +bitexact -flags +bitexact -map_metadata -1 -threads 1)
video=(-c:v mpeg2video -pix_fmt yuv420p -aspect 4:3 -b:v 300k -maxrate 600k
       -bufsize 1835k -g 15 -bf 2 -flags +cgop -sc_threshold 1000000000)
rate=30000/1001

# clip OUT SECONDS VIDEO-SOURCE AUDIO... ; each audio is CODEC:FREQUENCY.
# ffmpeg numbers the streams itself: AC-3 from 0x80, MPEG audio from 0xC0.
clip() {
  local o="$1" d="$2" v="$3"
  shift 3
  local in=(-f lavfi -i "$v=size=720x480:rate=$rate:duration=$d")
  local map=(-map 0:v) codecs=() n=0 a codec freq
  for a in "$@"; do
    codec="${a%%:*}" freq="${a#*:}"
    n=$((n + 1))
    in+=(-f lavfi -i "sine=frequency=$freq:sample_rate=48000:duration=$d")
    map+=(-map "$n:a")
    case "$codec" in
      ac3) codecs+=(-c:a:$((n - 1)) ac3 -b:a:$((n - 1)) 96k) ;;
      mp2) codecs+=(-c:a:$((n - 1)) mp2 -b:a:$((n - 1)) 64k) ;;
    esac
  done
  ffmpeg -v error -y "${in[@]}" "${map[@]}" "${video[@]}" "${codecs[@]}" \
    -ac 2 -ar 48000 -muxrate 10080k -packetsize 2048 "${bitexact[@]}" -f dvd "$o"
}
