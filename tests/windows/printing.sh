#!/usr/bin/env bash
# Prints on printers of wine's PostScript driver that write their documents to a file, and compares
# what ghostscript renders of them. Arguments: the tool, the source folder, the programs add_printer
# and print_half.
set -uo pipefail

programs=$(realpath "$(dirname "$0")")
source "$programs/../interop/status_checks.sh"
tool=$(realpath "$1")
picture=$(realpath "$2")/samples/coffee.bmp
add_printer=$(realpath "$3")
print_half=$(realpath "$4")
need gs python3
work=$(mktemp -d)
trap '"$add_printer" Größe; "$add_printer" Lost; rm -rf "$work"' EXIT
cd "$work" || exit 2

# 254 dots per inch are 10 per millimetre.
cat >printer.ppd <<'END'
*PPD-Adobe: "4.3"
*FormatVersion: "4.3"
*ModelName: "VIQ test"
*NickName: "VIQ test"
*LanguageLevel: "3"
*ColorDevice: True
*DefaultResolution: 254dpi
*OpenUI *PageSize: PickOne
*DefaultPageSize: A4
*PageSize A4/A4: "<</PageSize[595.276 841.89]>>setpagedevice"
*PageSize Letter/Letter: "<</PageSize[612 792]>>setpagedevice"
*CloseUI: *PageSize
*DefaultImageableArea: A4
*ImageableArea A4/A4: "0 0 595.276 841.89"
*ImageableArea Letter/Letter: "0 0 612 792"
*DefaultPaperDimension: A4
*PaperDimension A4/A4: "595.276 841.89"
*PaperDimension Letter/Letter: "612 792"
*DefaultFont: Courier
*Font Courier: Standard "(002.004S)" Standard ROM
END
expect 0 "$add_printer" Lost /nowhere/page.ps printer.ppd
expect 0 "$add_printer" Größe "$work/page.ps" printer.ppd
expect 0 "$tool" print --list
expect 0 [ "$(tr -d '\r\t ' <<<"$output")" = "*Größe"$'\n'"Lost" ]

expect 0 python3 "$programs/../interop/printed_pages.py" "$tool" Größe page.ps

expect 0 "$tool" print "$picture" "$picture" --copies 3 --title "Two pages" --paper letter
for line in '%%Title: Two pages' '%%Pages: 2' '%cupsJobTicket: copies=3' '%cupsJobTicket: media=Letter'; do
    expect 0 grep -q "^$line" page.ps
done

# A document that is not finished does not reach the port.
echo before >page.ps
for action in abandon destroy exit; do
    expect 0 "$print_half" "$action" ""
    expect 0 grep -qx before page.ps
done
: >broken.bmp
expect 2 "$tool" print "$picture" broken.bmp
expect 0 grep -qx before page.ps

while IFS='|' read -r options text; do
    # shellcheck disable=SC2086 # several words
    expect 2 "$tool" print "$picture" $options
    expect 0 grep -qF "$text" <<<"$output"
done <<'END'
--printer Missing|Printer 'Missing': Invalid printer name.
--printer Lost|Printer 'Lost': Invalid handle.
--paper 50x60|Printer 'Größe': does not have this paper
END

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
