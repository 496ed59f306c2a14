require ztapi-os-abs.inc

# The source tree that the layer stands in.
inherit externalsrc
EXTERNALSRC = "${THISDIR}/../../../.."
