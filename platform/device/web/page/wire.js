// wire: the messages between page and program, the other half of wire/web_message.h.

export const news = { picture: 1, sound: 2, hush: 3, state: 4, title: 5, ended: 6 };
export const keys_of = { nobody: 0, this_page: 1, another_page: 2 };

const word = { key: 1, finger: 2, battery: 3, take: 4, listen: 5, heard: 6, dropped: 7,
    code: 8 };

function bytes(count, fill) {
    const view = new DataView(new ArrayBuffer(count));
    fill(view);
    return view.buffer;
}

export function key_message(mask, down) {
    return bytes(6, (to) => {
        to.setUint8(0, word.key);
        to.setUint8(1, down ? 1 : 0);
        to.setUint32(2, mask, true);
    });
}

export function code_message(code, down) {
    return bytes(4, (to) => {
        to.setUint8(0, word.code);
        to.setUint8(1, down ? 1 : 0);
        to.setUint16(2, code, true);
    });
}

export function finger_message(type, x, y) {
    return bytes(6, (to) => {
        to.setUint8(0, word.finger);
        to.setUint8(1, type);
        to.setUint16(2, x, true);
        to.setUint16(4, y, true);
    });
}

export function battery_message(percent) {
    return bytes(2, (to) => { to.setUint8(0, word.battery); to.setUint8(1, percent); });
}

export function listen_message(on) {
    return bytes(2, (to) => { to.setUint8(0, word.listen); to.setUint8(1, on ? 1 : 0); });
}

export function heard_message(come, left) {
    return bytes(9, (to) => {
        to.setUint8(0, word.heard);
        to.setUint32(1, come >>> 0, true);
        to.setUint32(5, left >>> 0, true);
    });
}

export const take_message = () => bytes(1, (to) => to.setUint8(0, word.take));
export const dropped_message = () => bytes(1, (to) => to.setUint8(0, word.dropped));

export function read_state(view) {
    return {
        keys: view.getUint8(1),
        lit: view.getUint8(2) !== 0,
        battery: view.getUint8(3),
        upload_mib: view.getUint32(4, true),
    };
}

// Titles may hold bytes that are no UTF-8: each becomes a replacement sign.
export function read_title(buffer) {
    return new TextDecoder().decode(new Uint8Array(buffer, 1));
}

// Calls draw(x, y, w, h, pixels) for each rectangle of a picture; pixels is a Uint16Array of RGB565.
export function read_picture(view, draw) {
    const count = view.getUint16(2, true);
    for (let i = 0, at = 4; i < count; i++) {
        const [x, y, w, h] = [0, 2, 4, 6].map((place) => view.getUint16(at + place, true));
        const length = view.getUint32(at + 8, true);
        at += 12;
        const raw = length === w * h * 2;
        draw(x, y, w, h, raw ? read_raw(view, at, w * h) : unpack(view, at, length, w * h));
        at += length;
    }
}

function read_raw(view, at, count) {
    const pixels = new Uint16Array(count);
    for (let i = 0; i < count; i++)
        pixels[i] = view.getUint16(at + i * 2, true);
    return pixels;
}

function unpack(view, at, length, count) {
    const pixels = new Uint16Array(count);
    const end = at + length;
    for (let done = 0; at < end;) {
        const head = view.getUint8(at++);
        if (head >= 128) {
            pixels.fill(view.getUint16(at, true), done, done + head - 126);
            done += head - 126;
            at += 2;
            continue;
        }
        for (let i = 0; i <= head; i++, at += 2)
            pixels[done++] = view.getUint16(at, true);
    }
    return pixels;
}
