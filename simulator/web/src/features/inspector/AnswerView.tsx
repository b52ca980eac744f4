import type { AnswerEvent } from "../../core/messages";
import { useState } from "preact/hooks";
import { useSimulator } from "../../state/context";
import { bytesText } from "../../ui/format";
import { type AnswerPicture, assetNamed, pictureOf } from "./answer";
import { shortened } from "../../core/json";

export function AnswerView({ answer }: { answer: AnswerEvent }) {
  const picture = pictureOf(answer);
  const text = answer.message ?? JSON.stringify(shortened(answer.data ?? null), null, 1);
  return (
    <div class={`answer ${answer.result}`}>
      <h4>Answer</h4>
      {picture && <Picture picture={picture} />}
      <pre tabIndex={0} aria-label="What the page got">
        {answer.result === "error" ? `${answer.status}: ${text}` : text}
      </pre>
    </div>
  );
}

function Picture({ picture }: { picture: AnswerPicture }) {
  const { client, state } = useSimulator();
  if (picture.asset !== null) return <AssetPicture name={picture.asset} />;
  if (picture.file !== null && !state.files.value?.some(({ name }) => name === picture.file))
    return <p class="hint">The file {picture.file} is no longer there.</p>;
  const address = picture.url ?? client.file(picture.file ?? "");
  return <Shown address={address} movie={picture.movie} bytes={picture.bytes} />;
}

function AssetPicture({ name }: { name: string }) {
  const simulator = useSimulator();
  const { client } = simulator;
  const assets = simulator.assets.value;
  if (!assets) return null;
  const asset = assetNamed(assets, name);
  if (!asset) return <p class="hint">It is no longer in the photo library.</p>;
  const movie = asset.type === "video";
  // A browser cannot show every original; a JPEG of the server's it can.
  const address = movie ? client.original(asset.id) : client.thumbnail(asset.id, 1024);
  return <Shown address={address} movie={movie} bytes={asset.bytes} />;
}

function Shown(props: { address: string; movie: boolean; bytes: number | null }) {
  const { address, movie, bytes } = props;
  const [unseen, setUnseen] = useState(false);
  const onError = () => setUnseen(true);
  return (
    <figure>
      {unseen ? (
        <p class="hint">This browser cannot show it.</p>
      ) : movie ? (
        <video
          src={address}
          controls
          playsInline
          aria-label="The movie that the page got"
          onError={onError}
        />
      ) : (
        <img src={address} alt="What the page got" onError={onError} />
      )}
      {bytes !== null && <figcaption>{bytesText(bytes)}</figcaption>}
    </figure>
  );
}
