#!/usr/bin/env bash
# Unpacks the real kernels' sources (FreeRTOS-Kernel V11.1.0, ThreadX v6.4.2_rel) into DEST for the
# real-kernel target programs. Looks for the archives in $TARNWICK_KERNEL_SOURCES, else in ../shared/kernels
# beside the checkout; else clones the public repositories at their tags where the machine reaches them.
# Every source is checked: archives by SHA-256, clones by commit.
#
#   scripts/kernels.sh DEST
#
# On success DEST holds FreeRTOS-Kernel-V11.1.0/ and threadx-v6.4.2_rel/ and the script prints
# "Real kernels: unpacked in DEST". Otherwise it prints one line starting "Real kernels unavailable:" that
# says why, and exits 1.
set -uo pipefail

if [ $# -ne 1 ]; then
    echo "usage: scripts/kernels.sh DEST" >&2
    exit 2
fi
dest=$1
root=$(cd "$(dirname "$0")/.." && pwd)

freertos_dir=FreeRTOS-Kernel-V11.1.0
freertos_archive=FreeRTOS-Kernel-V11.1.0.tar.gz
freertos_sha256=3ee453e8fc279c24dc712715931b6178015363b3729bb40484aaba6298031d15
freertos_repo=https://github.com/FreeRTOS/FreeRTOS-Kernel.git
freertos_tag=V11.1.0
freertos_commit=dbf70559b27d39c1fdb68dfb9a32140b6a6777a0

threadx_dir=threadx-v6.4.2_rel
threadx_archive=threadx-v6.4.2_rel.tar.gz
threadx_sha256=f11cd9363fdcfdb5e94f4bc3bd4ec02e0c4c96095d08d0b15a8ab1c032b216cd
threadx_repo=https://github.com/eclipse-threadx/threadx.git
threadx_tag=v6.4.2_rel
threadx_commit=06dabb0ad0403f59889ce85eeb3d48dbd9d3759b

unavailable() {
    echo "Real kernels unavailable: $*"
    exit 1
}

if [ -n "${TARNWICK_KERNEL_SOURCES:-}" ]; then
    sources=$TARNWICK_KERNEL_SOURCES
else
    sources=$root/../shared/kernels
fi

# unpack_archive NAME ARCHIVE SHA256: unpacks ARCHIVE into DEST/NAME unless a stamp says it is there.
unpack_archive() {
    local name=$1 archive=$2 sha=$3
    [ -f "$dest/$name.unpacked" ] && [ -d "$dest/$name" ] && return 0
    echo "$sha  $archive" | sha256sum --check --status ||
        unavailable "$archive does not have the SHA-256 sum of the release"
    rm -rf "${dest:?}/$name"
    tar -xzf "$archive" -C "$dest" || unavailable "$archive does not unpack"
    [ -d "$dest/$name" ] || unavailable "$archive holds no folder $name"
    touch "$dest/$name.unpacked"
}

# clone_release NAME REPO TAG COMMIT: a shallow clone at TAG into DEST/NAME, which must be at COMMIT.
clone_release() {
    local name=$1 repo=$2 tag=$3 commit=$4 head
    [ -f "$dest/$name.unpacked" ] && [ -d "$dest/$name" ] && return 0
    command -v git >/dev/null || unavailable "no archives in $sources and no git to clone $repo"
    rm -rf "${dest:?}/$name"
    GIT_TERMINAL_PROMPT=0 timeout 120 git clone --quiet --depth 1 --branch "$tag" "$repo" "$dest/$name" \
        >/dev/null 2>&1 || unavailable "no archives in $sources, and $repo cannot be cloned from here"
    head=$(git -C "$dest/$name" rev-parse HEAD)
    [ "$head" = "$commit" ] || unavailable "$repo at $tag is commit $head, not $commit"
    touch "$dest/$name.unpacked"
}

mkdir -p "$dest" || unavailable "cannot create $dest"
if [ -f "$sources/$freertos_archive" ] && [ -f "$sources/$threadx_archive" ]; then
    unpack_archive "$freertos_dir" "$sources/$freertos_archive" "$freertos_sha256"
    unpack_archive "$threadx_dir" "$sources/$threadx_archive" "$threadx_sha256"
else
    clone_release "$freertos_dir" "$freertos_repo" "$freertos_tag" "$freertos_commit"
    clone_release "$threadx_dir" "$threadx_repo" "$threadx_tag" "$threadx_commit"
fi
echo "Real kernels: unpacked in $dest"
