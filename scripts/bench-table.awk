# The table of scripts/bench.sh, from the medians of the benchmark programs. A
# ratio above its goal is marked.

/_median"/ {
    name = $1
    gsub(/^"|_median"$|\/iterations:1|\/real_time/, "", name)
    real[name] = $3
    processor[name] = $4
}

function row(what, figure, floor, unit, beside, limit,    ratio)
{
    if (!figure || !floor) {
        print "bench: no figures of " what > "/dev/stderr"
        failed = 1
        return
    }
    ratio = figure / floor
    printf "| %s | %.*f %s | %.*f %s (%s) | %.2f | %s |\n", what,
        figure < 100, figure, unit, floor < 100, floor, unit, beside, ratio,
        limit == "" ? "-" : "at most " limit (ratio > limit + 0 ? ", **missed**" : "")
}

function size_row(what, figure, unit, limit)
{
    printf "| %s | %s %s | - | - | at most %s %s%s |\n", what, figure, unit, limit, unit,
        (figure > limit ? ", **missed**" : "")
}

END {
    print "| What | Figure | Floor | Ratio | Goal |"
    print "|---|---|---|---|---|"
    row("`get_power_status`", processor["get_power_status"], processor["get_power_status/floor"],
        "ns", "lock, load, unlock", "1.10")
    row("`get_slot_id`", processor["get_slot_id"], processor["get_slot_id/floor"], "ns",
        "lock, read, unlock", "1.05")
    row("`kcs_read` and `kcs_write`", processor["kcs"], processor["kcs/floor"], "ns",
        "the same calls by hand", "1.10")
    row("`get_uboot_env`", processor["get_uboot_env"], processor["get_uboot_env/floor"], "ns",
        "open, map, copy, walk, unmap, close", "1.15")
    row("`get_uboot_env`", processor["get_uboot_env"], processor["get_uboot_env/libubootenv"], "ns",
        "libubootenv: open, get, close", "0.50")
    row("`crc32` of 8188 bytes", processor["crc32/board_hal"], processor["crc32/zlib"], "ns",
        "zlib", "1.00")
    row("`mtd_flash_copy` of 8 MiB", real["mtd_flash_copy/8"], real["mtd_flash_copy/floor/8"], "ms",
        "the same calls and pauses by hand", "1.05")
    row("`get_bios` of 8 MiB", real["get_bios"], real["get_bios/floor"], "ms",
        "the same calls and pauses by hand", "1.05")
    row("loading and unloading", processor["load"], processor["load/floor"], "ns",
        "an empty shared object", "")
    size_row("text and read-only data, armel, -Os", sprintf("%.1f", size / 1024), "KiB", 96)
    size_row("private memory after loading, above an empty shared object", private - empty, "KiB",
        32)
    size_row("constructors", constructors, "", 0)
    print ""
    print "Needs at run time: " needed "."
    exit failed
}
