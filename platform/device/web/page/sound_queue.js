// sound_queue: samples between the program and the loudspeaker. Runs where the browser makes sound.

const start_frames = 2048; // as much waits before it sounds: a page that is given less would stutter
const patience_frames = 4410; // a sound that is shorter than that starts after so long
const report_frames = 1024; // between two reports
const held_frames = 44100;

export class sound_queue {
    constructor(report) {
        this.report = report; // called with (frames that came, frames left)
        this.pieces = [];
        this.at = 0; // frame in the first piece
        this.come = 0;
        this.left = 0;
        this.since_report = 0;
        this.waited = 0;
        this.sounding = false;
    }

    // samples: Int16Array, left and right in turn
    add(samples) {
        this.pieces.push(samples);
        this.come += samples.length / 2;
        this.left += samples.length / 2;
        while (this.left > held_frames)
            this.skip();
    }

    skip() {
        const first = this.pieces.shift();
        this.left -= first.length / 2 - this.at;
        this.at = 0;
    }

    hush() {
        this.pieces = [];
        this.at = 0;
        this.left = 0;
        this.sounding = false;
        this.tell();
    }

    tell() {
        this.since_report = 0;
        this.report(this.come, this.left);
    }

    may_sound(frames) {
        if (this.sounding || this.left === 0)
            return this.sounding;
        this.waited += frames;
        this.sounding = this.left >= start_frames || this.waited >= patience_frames;
        return this.sounding;
    }

    // Fills two Float32Arrays, which hold silence.
    fill(left, right) {
        if (!this.may_sound(left.length))
            return;
        let done = 0;
        while (done < left.length && this.pieces.length > 0) {
            const piece = this.pieces[0];
            left[done] = piece[this.at * 2] / 32768;
            right[done] = piece[this.at * 2 + 1] / 32768;
            done++;
            if (++this.at * 2 >= piece.length) {
                this.pieces.shift();
                this.at = 0;
            }
        }
        this.left -= done;
        this.since_report += done;
        if (this.left === 0) {
            this.sounding = false;
            this.waited = 0;
        }
        if (this.since_report >= report_frames || (this.left === 0 && done > 0))
            this.tell();
    }
}
