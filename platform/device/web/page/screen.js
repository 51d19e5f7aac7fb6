// screen: the picture, each pixel a whole square of the display's own pixels, and the finger on it.
import { finger_message, read_picture } from "./wire.js";

export const width = 320, height = 240;
const scale_most = 3; // as seen at arm's length; more only makes the squares larger
const press = 1, release = 2, move = 3; // types of touch.h

const colours = new Uint32Array(65536); // RGB565 as the canvas has it
for (let i = 0; i < 65536; i++) {
    const [r, g, b] = [i >> 11, (i >> 5) & 63, i & 31];
    colours[i] = 0xFF000000 | (((b << 3) | (b >> 2)) << 16) | (((g << 2) | (g >> 4)) << 8) |
        ((r << 3) | (r >> 2));
}

export function make_screen(canvas, room, send) {
    const paper = canvas.getContext("2d", { alpha: false });
    let at = null; // where the finger is, null while it is up

    function draw(x, y, w, h, pixels) {
        const image = paper.createImageData(w, h);
        const words = new Uint32Array(image.data.buffer);
        for (let i = 0; i < words.length; i++)
            words[i] = colours[pixels[i]];
        paper.putImageData(image, x, y);
    }

    // Whole device pixels: on a display of 1.5 the picture may be 1.33 or 2 times as large, never blurred.
    function fit() {
        const dots = window.devicePixelRatio || 1;
        const space = room();
        const free = Math.min(space.width / width, space.height / height, scale_most);
        const scale = Math.max(Math.floor(free * dots), 1) / dots;
        canvas.style.width = `${width * scale}px`;
        canvas.style.height = `${height * scale}px`;
    }

    function point(event) {
        const box = canvas.getBoundingClientRect();
        const inside = (value, most) => Math.min(Math.max(Math.floor(value), 0), most - 1);
        return [inside((event.clientX - box.left) * width / box.width, width),
                inside((event.clientY - box.top) * height / box.height, height)];
    }

    function finger(type, event) {
        at = type === release ? null : point(event);
        send(finger_message(type, ...point(event)));
    }

    canvas.addEventListener("pointerdown", (event) => {
        if (event.button !== 0 || at)
            return;
        canvas.setPointerCapture(event.pointerId); // a drag may leave the picture
        finger(press, event);
    });
    canvas.addEventListener("pointermove", (event) => {
        if (at && canvas.hasPointerCapture(event.pointerId) && String(point(event)) !== String(at))
            finger(move, event);
    });
    const lift = (event) => {
        if (at && canvas.hasPointerCapture(event.pointerId))
            finger(release, event);
    };
    canvas.addEventListener("pointerup", lift);
    canvas.addEventListener("pointercancel", lift);

    return {
        fit,
        show: (view) => read_picture(view, draw),
        clear() {
            paper.fillStyle = "#000";
            paper.fillRect(0, 0, width, height);
            at = null;
        },
    };
}
