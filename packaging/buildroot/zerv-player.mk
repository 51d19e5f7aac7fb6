################################################################################
#
# zerv-player
#
################################################################################

# The sources around this folder.
ZERV_PLAYER_VERSION = local
ZERV_PLAYER_SITE = $(BR2_EXTERNAL_ZERV_PATH)/../..
ZERV_PLAYER_SITE_METHOD = local
ZERV_PLAYER_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude build
ZERV_PLAYER_LICENSE = MIT
ZERV_PLAYER_LICENSE_FILES = LICENSE
# The skins are drawings until they are built.
ZERV_PLAYER_DEPENDENCIES = \
	host-librsvg \
	host-pkgconf \
	host-python3 \
	alsa-lib \
	expat \
	flac \
	freetype \
	giflib \
	harfbuzz \
	jpeg \
	libcurl \
	libfribidi \
	libmd \
	libpng \
	libsodium \
	libsoxr \
	libvorbis \
	minizip-zlib \
	mpg123 \
	sqlite \
	taglib \
	zlib
ZERV_PLAYER_CONF_OPTS = \
	-DZERV_SDL=OFF \
	-DZERV_WEB=OFF \
	-DZERV_TESTS=OFF

$(eval $(cmake-package))
